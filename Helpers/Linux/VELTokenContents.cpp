// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELTokenContents.h"

#include "Base/VELBase64.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <p11-kit/p11-kit.h>
#include <p11-kit/pkcs11.h>
#include <set>
#include <stdexcept>
#include <tuple>
#include <utility>
#include <vector>

namespace vel {
namespace {

constexpr std::size_t maximumObjects = 100'000;
constexpr CK_ULONG maximumAttribute = 1U << 20U;
constexpr std::size_t maximumContents = std::size_t{64} << 20U; // bytes of all certificates

struct TokenCertificate {
    std::string tokenSerial;
    std::string identifier;
    std::string der;
    bool isIdentity;
};

struct FoundCertificates {
    std::vector<TokenCertificate> list;
    std::size_t bytes = 0;

    void add(TokenCertificate certificate) {
        bytes += certificate.der.size();
        if (bytes > maximumContents) {
            throw std::runtime_error("the tokens hold too much");
        }
        list.push_back(std::move(certificate));
    }
};

void require(CK_RV result, const std::string& call) {
    if (result != CKR_OK) {
        throw std::runtime_error(call + ": " + p11_kit_strerror(result));
    }
}

/// The modules in use, shut down and released at the end.
class Modules {
public:
    explicit Modules(const std::string& path) : _path(path) {
        if (!path.empty()) {
            _loaded.push_back(p11_kit_module_load(path.c_str(), 0));
        } else if (CK_FUNCTION_LIST** list = p11_kit_modules_load(nullptr, 0)) {
            for (CK_FUNCTION_LIST** module = list; *module != nullptr; ++module) {
                _loaded.push_back(*module);
            }
            ::free(static_cast<void*>(list));
        } else {
            _loaded.push_back(nullptr);
        }
        // A registered module that is missing is left out of the list, and only spoken of.
        const char* message = p11_kit_message();
        const std::string reason = message != nullptr ? message : "a module cannot be loaded";
        if (std::erase(_loaded, nullptr) > 0 || message != nullptr) {
            release();
            throw std::runtime_error(reason);
        }
    }
    ~Modules() {
        for (CK_FUNCTION_LIST* module : _used) {
            p11_kit_module_finalize(module);
        }
        release();
    }
    Modules(const Modules&) = delete;
    Modules& operator=(const Modules&) = delete;

    /// Those that hold what belongs to somebody, ready to be asked.
    const std::vector<CK_FUNCTION_LIST*>& used() {
        for (CK_FUNCTION_LIST* module : _loaded) {
            const std::unique_ptr<char, decltype(&::free)> policy(
                p11_kit_config_option(module, "trust-policy"), &::free);
            if (policy != nullptr && std::string_view(policy.get()) == "yes") {
                continue;
            }
            require(p11_kit_module_initialize(module), nameOf(module) + ": C_Initialize");
            _used.push_back(module);
        }
        return _used;
    }

    /// The name that the module is registered under, or its path.
    [[nodiscard]] std::string nameOf(CK_FUNCTION_LIST* module) const {
        const std::unique_ptr<char, decltype(&::free)> name(p11_kit_module_get_name(module),
                                                            &::free);
        return name != nullptr ? name.get() : _path;
    }

private:
    void release() {
        for (CK_FUNCTION_LIST* module : _loaded) {
            p11_kit_module_release(module);
        }
        _loaded.clear();
    }

    std::string _path;
    std::vector<CK_FUNCTION_LIST*> _loaded;
    std::vector<CK_FUNCTION_LIST*> _used;
};

/// A session that reads what everybody may.
class Session {
public:
    Session(CK_FUNCTION_LIST* module, CK_SLOT_ID slot) : _module(module) {
        require(module->C_OpenSession(slot, CKF_SERIAL_SESSION, nullptr, nullptr, &_session),
                "C_OpenSession");
    }
    ~Session() { _module->C_CloseSession(_session); }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    [[nodiscard]] std::vector<CK_OBJECT_HANDLE> find(std::vector<CK_ATTRIBUTE> pattern) const {
        require(_module->C_FindObjectsInit(_session, pattern.data(), pattern.size()),
                "C_FindObjectsInit");
        std::vector<CK_OBJECT_HANDLE> objects;
        std::array<CK_OBJECT_HANDLE, 64> some{};
        CK_ULONG count = 0;
        CK_RV result = CKR_OK;
        do {
            result = _module->C_FindObjects(_session, some.data(), some.size(), &count);
            count = result == CKR_OK ? std::min<CK_ULONG>(count, some.size()) : 0;
            objects.insert(objects.end(), some.data(), some.data() + count);
        } while (count > 0 && objects.size() <= maximumObjects);
        _module->C_FindObjectsFinal(_session);
        require(result, "C_FindObjects");
        if (objects.size() > maximumObjects) {
            throw std::runtime_error("a token holds too much");
        }
        return objects;
    }

    /// Empty when the object has none.
    [[nodiscard]] std::string attribute(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type) const {
        CK_ATTRIBUTE attribute = {type, nullptr, 0};
        const CK_RV result = _module->C_GetAttributeValue(_session, object, &attribute, 1);
        if (result == CKR_ATTRIBUTE_TYPE_INVALID || result == CKR_ATTRIBUTE_SENSITIVE) {
            return {};
        }
        require(result, "C_GetAttributeValue");
        if (attribute.ulValueLen > maximumAttribute) {
            throw std::runtime_error("an attribute is too long");
        }
        std::string value(attribute.ulValueLen, '\0');
        attribute.pValue = value.data();
        require(_module->C_GetAttributeValue(_session, object, &attribute, 1),
                "C_GetAttributeValue");
        value.resize(std::min<std::size_t>(value.size(), attribute.ulValueLen));
        return value;
    }

private:
    CK_FUNCTION_LIST* _module;
    CK_SESSION_HANDLE _session = CK_INVALID_HANDLE;
};

std::set<std::string> identifiersOf(const Session& session, CK_OBJECT_CLASS objectClass) {
    std::set<std::string> identifiers;
    for (const CK_OBJECT_HANDLE key :
         session.find({{CKA_CLASS, &objectClass, sizeof objectClass}})) {
        identifiers.insert(session.attribute(key, CKA_ID));
    }
    identifiers.erase("");
    return identifiers;
}

void readToken(CK_FUNCTION_LIST* module, CK_SLOT_ID slot, const CK_TOKEN_INFO& information,
               FoundCertificates& found) {
    const Session session(module, slot);
    std::set<std::string> keys = identifiersOf(session, CKO_PRIVATE_KEY);
    if ((information.flags & CKF_LOGIN_REQUIRED) != 0) {
        keys.merge(identifiersOf(session, CKO_PUBLIC_KEY));
    }
    const std::string serial(reinterpret_cast<const char*>(information.serialNumber),
                             sizeof information.serialNumber);
    CK_OBJECT_CLASS objectClass = CKO_CERTIFICATE;
    CK_CERTIFICATE_TYPE type = CKC_X_509;
    for (const CK_OBJECT_HANDLE object :
         session.find({{CKA_CLASS, &objectClass, sizeof objectClass},
                       {CKA_CERTIFICATE_TYPE, &type, sizeof type}})) {
        std::string der = session.attribute(object, CKA_VALUE);
        // One without a value is kept elsewhere, at an address that nobody follows here.
        if (!der.empty()) {
            std::string identifier = session.attribute(object, CKA_ID);
            const bool isIdentity = keys.contains(identifier);
            found.add({serial, std::move(identifier), std::move(der), isIdentity});
        }
    }
}

void readModule(CK_FUNCTION_LIST* module, FoundCertificates& found) {
    CK_ULONG count = 0;
    require(module->C_GetSlotList(CK_TRUE, nullptr, &count), "C_GetSlotList");
    std::vector<CK_SLOT_ID> slots(count);
    require(module->C_GetSlotList(CK_TRUE, slots.data(), &count), "C_GetSlotList");
    slots.resize(std::min<std::size_t>(slots.size(), count));
    for (const CK_SLOT_ID slot : slots) {
        CK_TOKEN_INFO information{};
        const CK_RV result = module->C_GetTokenInfo(slot, &information);
        if (result == CKR_TOKEN_NOT_PRESENT || result == CKR_TOKEN_NOT_RECOGNIZED) {
            continue;
        }
        require(result, "C_GetTokenInfo");
        if ((information.flags & CKF_TOKEN_INITIALIZED) != 0) {
            readToken(module, slot, information, found);
        }
    }
}

} // namespace

std::string tokenContents(const std::string& module) {
    FoundCertificates all;
    {
        Modules modules(module);
        for (CK_FUNCTION_LIST* used : modules.used()) {
            try {
                readModule(used, all);
            } catch (const std::runtime_error& error) {
                throw std::runtime_error(modules.nameOf(used) + ": " + error.what());
            }
        }
    }
    std::vector<TokenCertificate>& found = all.list;
    std::sort(found.begin(), found.end(), [](const auto& left, const auto& right) {
        return std::tie(left.tokenSerial, left.identifier, left.der) <
               std::tie(right.tokenSerial, right.identifier, right.der);
    });
    std::string text;
    for (const TokenCertificate& certificate : found) {
        text += certificate.isIdentity ? "identity " : "certificate ";
        text += base64Text(certificate.der) + "\n";
    }
    return text + "end " + std::to_string(found.size()) + "\n";
}

} // namespace vel
