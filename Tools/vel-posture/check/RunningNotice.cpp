// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/check/RunningNotice.h"

#include "Tools/vel-posture/DisplayText.h"

#include <nlohmann/json.hpp>

#include <system_error>
#include <utility>

namespace {

class CheckWithNotice final : public VELPostureCheckItem {
public:
    CheckWithNotice(std::string type, std::shared_ptr<const VELPostureCheckItem> check,
                    std::shared_ptr<RunningNotice> notice)
        : _type(std::move(type)), _check(std::move(check)), _notice(std::move(notice)) {}

    bool runCheckWithParameters(const VELDictionary& parameters,
                                std::optional<VELError>* error) const override {
        const Running running(*_notice, _type);
        return _check->runCheckWithParameters(parameters, error);
    }

    [[nodiscard]] std::optional<std::vector<std::string>> requiredParameters() const override {
        return _check->requiredParameters();
    }

private:
    class Running {
    public:
        Running(RunningNotice& notice, std::string_view type) : _notice(notice) {
            _notice.begin(type);
        }
        Running(const Running&) = delete;
        Running& operator=(const Running&) = delete;
        ~Running() { _notice.end(); }

    private:
        RunningNotice& _notice;
    };

    std::string _type;
    std::shared_ptr<const VELPostureCheckItem> _check;
    std::shared_ptr<RunningNotice> _notice;
};

} // namespace

RunningNotice::RunningNotice(std::chrono::milliseconds delay, std::size_t columns, Write write)
    : _delay(delay), _columns(columns), _write(std::move(write)) {}

RunningNotice::~RunningNotice() {
    {
        const std::scoped_lock lock(_mutex);
        _ending = true;
        erase();
    }
    _changed.notify_one();
    if (_watcher.joinable()) {
        _watcher.join();
    }
}

void RunningNotice::begin(std::string_view checkType) {
    {
        const std::scoped_lock lock(_mutex);
        _checkType = checkType;
        _dueTime = Clock::now() + _delay;
        if (!_watcher.joinable()) {
            try {
                _watcher = std::thread(&RunningNotice::watch, this);
            } catch (const std::system_error&) {
                return;
            }
        }
    }
    _changed.notify_one();
}

void RunningNotice::end() {
    const std::scoped_lock lock(_mutex);
    _checkType.clear();
    erase();
}

bool RunningNotice::isDue() const {
    return _shownColumns == 0 && Clock::now() >= _dueTime;
}

void RunningNotice::watch() {
    std::unique_lock lock(_mutex);
    while (!_ending) {
        if (_checkType.empty() || _shownColumns != 0) {
            _changed.wait(lock);
        } else if (isDue()) {
            show();
        } else {
            _changed.wait_until(lock, _dueTime);
        }
    }
}

void RunningNotice::show() {
    // A line as wide as the terminal could not be erased from its beginning everywhere.
    const std::size_t columns = _columns > 2 ? _columns - 1 : 1;
    const std::string text =
        truncated("vel-posture: running " + printable(_checkType) + "…", columns);
    _shownColumns = displayWidth(text);
    _write(text);
}

void RunningNotice::erase() {
    if (_shownColumns != 0) {
        // Spaces, because every terminal knows them.
        std::string blank = "\r";
        blank.append(_shownColumns, ' ');
        blank += '\r';
        _write(blank);
        _shownColumns = 0;
    }
}

VELPostureCheckCatalogue catalogueWithNotice(const VELPostureCheckCatalogue& catalogue,
                                             const std::shared_ptr<RunningNotice>& notice) {
    VELPostureCheckCatalogue result;
    for (const auto& [type, check] : catalogue) {
        result.emplace(type, std::make_shared<const CheckWithNotice>(type, check, notice));
    }
    return result;
}
