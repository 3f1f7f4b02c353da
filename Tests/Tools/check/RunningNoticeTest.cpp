// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/check/RunningNotice.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <stdexcept>

namespace {

using namespace std::chrono_literals;

/// What the notice wrote, and a way to wait for it.
class Screen {
public:
    RunningNotice::Write writer() {
        return [this](std::string_view text) {
            {
                const std::scoped_lock lock(_mutex);
                _text += text;
            }
            _changed.notify_all();
        };
    }

    std::string text() {
        const std::scoped_lock lock(_mutex);
        return _text;
    }

    bool waitFor(const std::string& text) {
        std::unique_lock lock(_mutex);
        return _changed.wait_until(lock, std::chrono::system_clock::now() + 30s,
                                   [&] { return _text == text; });
    }

private:
    std::mutex _mutex;
    std::condition_variable _changed;
    std::string _text;
};

/// A check that runs until its notice is on the screen.
class SlowCheck final : public VELPostureCheckItem {
public:
    SlowCheck(Screen& screen, std::string awaited)
        : _screen(screen), _awaited(std::move(awaited)) {}
    bool runCheckWithParameters(const VELDictionary& parameters,
                                std::optional<VELError>* error) const override {
        if (!_screen.waitFor(_awaited)) {
            throw std::runtime_error("no notice");
        }
        if (parameters.contains("fails")) {
            *error = VELError::withLocalizedDescription("d", 1, "failed");
        }
        return true;
    }
    std::optional<std::vector<std::string>> requiredParameters() const override {
        return {{"seconds"}};
    }

private:
    Screen& _screen;
    std::string _awaited;
};

const std::string localFirewallNotice = "vel-posture: running localFirewall…";
const std::string erased = "\r" + std::string(35, ' ') + "\r";

TEST(RunningNotice, ShowsASlowCheckAndErasesItAfterwards) {
    Screen screen;
    const auto notice = std::make_shared<RunningNotice>(1ms, 80, screen.writer());
    const auto catalogue = catalogueWithNotice(
        {{"localFirewall", std::make_shared<SlowCheck>(screen, localFirewallNotice)}}, notice);
    const auto& check = *catalogue.at("localFirewall");

    std::optional<VELError> error;
    EXPECT_TRUE(check.runCheckWithParameters({{"fails", true}}, &error));
    EXPECT_EQ(screen.text(), localFirewallNotice + erased);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->message(), "failed");
    EXPECT_EQ(check.requiredParameters(), std::vector<std::string>{"seconds"});
}

TEST(RunningNotice, IsErasedWhenACheckThrows) {
    class ThrowingCheck final : public VELPostureCheckItem {
    public:
        explicit ThrowingCheck(Screen& screen) : _screen(screen) {}
        bool runCheckWithParameters(const VELDictionary&, std::optional<VELError>*) const override {
            EXPECT_TRUE(_screen.waitFor(localFirewallNotice));
            throw std::runtime_error("thrown");
        }

    private:
        Screen& _screen;
    };
    Screen screen;
    const auto notice = std::make_shared<RunningNotice>(1ms, 80, screen.writer());
    const auto catalogue =
        catalogueWithNotice({{"localFirewall", std::make_shared<ThrowingCheck>(screen)}}, notice);
    EXPECT_THROW(catalogue.at("localFirewall")->runCheckWithParameters(VELValue::object(), nullptr),
                 std::runtime_error);
    EXPECT_EQ(screen.text(), localFirewallNotice + erased);
}

TEST(RunningNotice, SaysNothingOfQuickChecks) {
    Screen screen;
    {
        RunningNotice notice(1h, 80, screen.writer());
        for (int count = 0; count < 1000; ++count) {
            notice.begin("quick");
            notice.end();
        }
        notice.begin("quick"); // even one that never ends
    }
    EXPECT_EQ(screen.text(), "");
}

TEST(RunningNotice, ShowsEveryCheckThatIsSlow) {
    Screen screen;
    RunningNotice notice(1ms, 80, screen.writer());
    std::string expected;
    for (const std::string type : {"a", "b", "c"}) {
        notice.begin(type);
        expected += "vel-posture: running " + type + "…";
        EXPECT_TRUE(screen.waitFor(expected)) << screen.text();
        notice.end();
        expected += "\r" + std::string(23, ' ') + "\r";
        EXPECT_EQ(screen.text(), expected);
    }
}

TEST(RunningNotice, StaysOnOneLineOfANarrowTerminal) {
    Screen screen;
    {
        RunningNotice notice(1ms, 30, screen.writer());
        notice.begin("localFirewall");
        EXPECT_TRUE(screen.waitFor("vel-posture: running localFi…")) << screen.text();
    }
    EXPECT_EQ(screen.text(), "vel-posture: running localFi…\r" + std::string(29, ' ') + "\r");
}

} // namespace
