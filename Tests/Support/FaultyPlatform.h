// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/VELPlatform.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// How one question of the seam is answered wrongly.
enum class Fault {
    throws, ///< memory runs out
    fails,  ///< as that question fails: absent, null, false, a failing status
    empty,  ///< an empty answer: no mount, no output
};

/// A platform round another one on which one question fails: the one at a position, counted from 0
/// over all questions in the order in which they are asked.
class FaultyPlatform final : public VELPlatform {
public:
    struct Plan {
        /// Absent: nothing fails.
        std::optional<std::size_t> position;
        Fault fault = Fault::fails;
        /// The names of the questions that were asked, in order.
        std::vector<std::string> questions;

        /// Counts a question. The fault with which it is to be answered, if any.
        std::optional<Fault> ask(std::string question) {
            questions.push_back(std::move(question));
            if (position != questions.size() - 1) {
                return std::nullopt;
            }
            if (fault == Fault::throws) {
                throw std::bad_alloc();
            }
            return fault;
        }
    };

    FaultyPlatform(std::shared_ptr<const VELPlatform> platform, std::shared_ptr<Plan> plan)
        : _platform(std::move(platform)), _plan(std::move(plan)) {}

    [[nodiscard]] VELTimePoint ticks() const override { return _platform->ticks(); }
    [[nodiscard]] std::optional<std::string> productVersion() const override {
        return _plan->ask("productVersion") ? std::nullopt : _platform->productVersion();
    }
    [[nodiscard]] std::optional<std::string> serialNumber() const override {
        return _plan->ask("serialNumber") ? std::nullopt : _platform->serialNumber();
    }
    [[nodiscard]] const VELPreferences& preferences() const override { return _preferences; }
    [[nodiscard]] const VELFiles& files() const override { return _files; }
    [[nodiscard]] const VELDiskArbitration& diskArbitration() const override { return _disks; }
    [[nodiscard]] const VELKeychain& keychain() const override { return _keychain; }
    [[nodiscard]] const VELCertificates& certificates() const override { return _certificates; }
    [[nodiscard]] const VELWorkQueue& workQueue() const override { return _workQueue; }
    [[nodiscard]] std::shared_ptr<const VELWorkingPlace> openWorkingPlace() const override {
        // A place that could not be made shows at the launch.
        return _platform->openWorkingPlace();
    }
    [[nodiscard]] std::shared_ptr<VELTask>
    task(std::string_view tool, std::vector<std::string> arguments,
         std::shared_ptr<const VELWorkingPlace> place) const override {
        return std::make_shared<Task>(_platform->task(tool, std::move(arguments), std::move(place)),
                                      _plan);
    }

private:
    using SharedPlan = std::shared_ptr<Plan>;

    class Preferences final : public VELPreferences {
    public:
        explicit Preferences(const FaultyPlatform& owner) : _owner(owner) {}
        [[nodiscard]] std::optional<VELValue> copyValue(std::string_view key,
                                                        std::string_view applicationID,
                                                        VELPreferencesScope scope) const override {
            return _owner._plan->ask("copyValue")
                       ? std::nullopt
                       : _owner._platform->preferences().copyValue(key, applicationID, scope);
        }
        [[nodiscard]] IntegerValue appIntegerValue(std::string_view key,
                                                   std::string_view applicationID) const override {
            return _owner._plan->ask("appIntegerValue")
                       ? IntegerValue{0, false}
                       : _owner._platform->preferences().appIntegerValue(key, applicationID);
        }

    private:
        const FaultyPlatform& _owner;
    };

    class Files final : public VELFiles {
    public:
        explicit Files(const FaultyPlatform& owner) : _owner(owner) {}
        [[nodiscard]] bool exists(const std::string& path) const override {
            return !_owner._plan->ask("exists") && _owner._platform->files().exists(path);
        }
        [[nodiscard]] std::optional<std::string> read(const std::string& path) const override {
            return _owner._plan->ask("read") ? std::nullopt : _owner._platform->files().read(path);
        }

    private:
        const FaultyPlatform& _owner;
    };

    class Media final : public VELDiskMedia {
    public:
        Media(std::unique_ptr<VELDiskMedia> media, SharedPlan plan)
            : _media(std::move(media)), _plan(std::move(plan)) {}
        [[nodiscard]] std::optional<VELValue> property(std::string_view name) const override {
            return _plan->ask("property " + std::string(name)) ? std::nullopt
                                                               : _media->property(name);
        }

    private:
        std::unique_ptr<VELDiskMedia> _media;
        SharedPlan _plan;
    };

    class Disk final : public VELDisk {
    public:
        Disk(std::unique_ptr<VELDisk> disk, SharedPlan plan)
            : _disk(std::move(disk)), _plan(std::move(plan)) {}
        [[nodiscard]] std::optional<VELDiskDescription> copyDescription() const override {
            return _plan->ask("copyDescription") ? std::nullopt : _disk->copyDescription();
        }
        [[nodiscard]] std::unique_ptr<VELDiskMedia> copyMedia() const override {
            auto media = _plan->ask("copyMedia") ? nullptr : _disk->copyMedia();
            return media ? std::make_unique<Media>(std::move(media), _plan) : nullptr;
        }

    private:
        std::unique_ptr<VELDisk> _disk;
        SharedPlan _plan;
    };

    class Session final : public VELDiskSession {
    public:
        Session(std::unique_ptr<VELDiskSession> session, SharedPlan plan)
            : _session(std::move(session)), _plan(std::move(plan)) {}
        [[nodiscard]] std::unique_ptr<VELDisk>
        diskAtMountPoint(const std::string& mountPoint) const override {
            auto disk =
                _plan->ask("diskAtMountPoint") ? nullptr : _session->diskAtMountPoint(mountPoint);
            return disk ? std::make_unique<Disk>(std::move(disk), _plan) : nullptr;
        }

    private:
        std::unique_ptr<VELDiskSession> _session;
        SharedPlan _plan;
    };

    class Disks final : public VELDiskArbitration {
    public:
        explicit Disks(const FaultyPlatform& owner) : _owner(owner) {}
        [[nodiscard]] std::unique_ptr<VELDiskSession> createSession() const override {
            auto session = _owner._plan->ask("createSession")
                               ? nullptr
                               : _owner._platform->diskArbitration().createSession();
            return session ? std::make_unique<Session>(std::move(session), _owner._plan) : nullptr;
        }
        [[nodiscard]] std::optional<std::vector<VELMount>> mountTable() const override {
            const auto fault = _owner._plan->ask("mountTable");
            if (fault == Fault::empty) {
                return std::vector<VELMount>();
            }
            return fault ? std::nullopt : _owner._platform->diskArbitration().mountTable();
        }

    private:
        const FaultyPlatform& _owner;
    };

    class Identity final : public VELIdentity {
    public:
        Identity(std::unique_ptr<VELIdentity> identity, SharedPlan plan)
            : _identity(std::move(identity)), _plan(std::move(plan)) {}
        [[nodiscard]] CertificateResult copyCertificate() const override {
            return _plan->ask("copyCertificate")
                       ? CertificateResult{VELSecurityStatus::internalComponent, nullptr}
                       : _identity->copyCertificate();
        }

    private:
        std::unique_ptr<VELIdentity> _identity;
        SharedPlan _plan;
    };

    class Keychain final : public VELKeychain {
    public:
        explicit Keychain(const FaultyPlatform& owner) : _owner(owner) {}
        [[nodiscard]] CertificatesResult certificates(std::size_t limit) const override {
            return _owner._plan->ask("certificates")
                       ? CertificatesResult{VELSecurityStatus::internalComponent, {}}
                       : _owner._platform->keychain().certificates(limit);
        }
        [[nodiscard]] IdentitiesResult identities(const std::string& issuer) const override {
            if (_owner._plan->ask("identities")) {
                return {VELSecurityStatus::internalComponent, {}};
            }
            IdentitiesResult result = _owner._platform->keychain().identities(issuer);
            for (auto& identity : result.identities) {
                identity = std::make_unique<Identity>(std::move(identity), _owner._plan);
            }
            return result;
        }
        [[nodiscard]] AllIdentitiesResult allIdentities() const override {
            return _owner._platform->keychain().allIdentities();
        }
        [[nodiscard]] std::string statusText(VELSecurityStatus status) const override {
            return _owner._platform->keychain().statusText(status);
        }

    private:
        const FaultyPlatform& _owner;
    };

    class Trust final : public VELTrust {
    public:
        Trust(std::unique_ptr<VELTrust> trust, SharedPlan plan)
            : _trust(std::move(trust)), _plan(std::move(plan)) {}
        VELSecurityStatus setOnlyAnchor(std::shared_ptr<const VELCertificate> anchor) override {
            return _plan->ask("setOnlyAnchor") ? VELSecurityStatus::internalComponent
                                               : _trust->setOnlyAnchor(std::move(anchor));
        }
        bool evaluate(std::optional<VELError>* error) override {
            if (_plan->ask("evaluate")) {
                *error = VELError::withLocalizedDescription("NSOSStatusErrorDomain", -2070, "lost");
                return false;
            }
            return _trust->evaluate(error);
        }

    private:
        std::unique_ptr<VELTrust> _trust;
        SharedPlan _plan;
    };

    class Certificates final : public VELCertificates {
    public:
        explicit Certificates(const FaultyPlatform& owner) : _owner(owner) {}
        [[nodiscard]] std::shared_ptr<const VELCertificate>
        parseCertificate(std::string_view der) const override {
            return _owner._plan->ask("parseCertificate")
                       ? nullptr
                       : _owner._platform->certificates().parseCertificate(der);
        }
        [[nodiscard]] std::optional<std::vector<std::string>>
        commonNames(std::string_view der) const override {
            return _owner._plan->ask("commonNames")
                       ? std::nullopt
                       : _owner._platform->certificates().commonNames(der);
        }
        [[nodiscard]] TrustResult
        createTrust(std::shared_ptr<const VELCertificate> certificate) const override {
            if (_owner._plan->ask("createTrust")) {
                return {VELSecurityStatus::internalComponent, nullptr};
            }
            TrustResult result =
                _owner._platform->certificates().createTrust(std::move(certificate));
            if (result.trust) {
                result.trust = std::make_unique<Trust>(std::move(result.trust), _owner._plan);
            }
            return result;
        }
        [[nodiscard]] std::string sha1(std::string_view bytes) const override {
            return _owner._platform->certificates().sha1(bytes);
        }

    private:
        const FaultyPlatform& _owner;
    };

    class WorkQueue final : public VELWorkQueue {
    public:
        explicit WorkQueue(const FaultyPlatform& owner) : _owner(owner) {}
        bool after(std::chrono::nanoseconds delay, std::function<void()> block) const override {
            return !_owner._plan->ask("after") &&
                   _owner._platform->workQueue().after(delay, std::move(block));
        }

    private:
        const FaultyPlatform& _owner;
    };

    class Task final : public VELTask {
    public:
        Task(std::shared_ptr<VELTask> task, SharedPlan plan)
            : _task(std::move(task)), _plan(std::move(plan)) {}
        [[nodiscard]] const std::string& launchPath() const override { return _task->launchPath(); }
        void launch() override {
            if (_plan->ask("launch")) {
                throw VELTaskLaunchFailure("no memory for a process");
            }
            _task->launch();
        }
        [[nodiscard]] bool isRunning() const override { return _task->isRunning(); }
        void terminate() override { _task->terminate(); }
        void waitUntilExit() override { _task->waitUntilExit(); }
        [[nodiscard]] std::int32_t terminationStatus() const override {
            return _plan->ask("terminationStatus") ? -1 : _task->terminationStatus();
        }
        std::optional<std::string> readOutputToEnd(VELTimePoint deadline) override {
            const auto fault = _plan->ask("readOutputToEnd");
            if (fault == Fault::empty) {
                return "";
            }
            return fault ? std::nullopt : _task->readOutputToEnd(deadline);
        }
        void close() noexcept override { _task->close(); }

    private:
        std::shared_ptr<VELTask> _task;
        SharedPlan _plan;
    };

    std::shared_ptr<const VELPlatform> _platform;
    SharedPlan _plan;
    Preferences _preferences{*this};
    Files _files{*this};
    Disks _disks{*this};
    Keychain _keychain{*this};
    Certificates _certificates{*this};
    WorkQueue _workQueue{*this};
};
