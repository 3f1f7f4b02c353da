// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/check/PrometheusReport.h"

#include "Tools/vel-posture/DisplayText.h"
#include "Tools/vel-posture/check/CheckOutcome.h"

#include <array>
#include <charconv>
#include <map>
#include <string_view>
#include <utility>

namespace {

using Label = std::pair<const char*, std::string>;
using Labels = std::vector<Label>;

std::string numberText(double number) {
    std::array<char, 32> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number);
    return {digits.data(), end.ptr};
}

/// `value` is printable: it has no line breaks.
std::string labelText(const Label& label) {
    std::string text = std::string(label.first) + "=\"";
    for (const char character : label.second) {
        text += character == '"' || character == '\\' ? "\\" : "";
        text += character;
    }
    return text + "\"";
}

/// A metric with its samples, in the order in which they came.
class Metric {
public:
    Metric(const char* name, const char* help) : _name(name), _help(help) {}

    void add(const Labels& labels, const std::string& value) {
        std::string sample;
        for (const Label& label : labels) {
            sample += (sample.empty() ? "" : ",") + labelText(label);
        }
        _samples += std::string(_name) + "{" + sample + "} " + value + "\n";
    }

    /// Empty if there are no samples.
    [[nodiscard]] std::string text() const {
        const std::string name(_name);
        return _samples.empty()
                   ? ""
                   : "# HELP " + name + " " + _help + "\n# TYPE " + name + " gauge\n" + _samples;
    }

private:
    const char* _name;
    const char* _help;
    std::string _samples;
};

class Report {
public:
    void add(const RequestRun& run) {
        const Labels request = {{"request", uniqueName(printable(run.name))}};
        _error.add(request, isErrorResult(run.result) ? "1" : "0");
        if (isDeviceTrustResult(run.result)) {
            _pass.add(request, run.result.at("pass").get<bool>() ? "1" : "0");
            _duration.add(request, seconds(run.result.at("metrics").at("total_ms").get<double>()));
            addChecks(run, request);
        }
        const std::chrono::duration<double> time =
            std::chrono::floor<std::chrono::milliseconds>(run.time.time_since_epoch());
        _timestamp.add(request, numberText(time.count()));
    }

    [[nodiscard]] std::string text() const {
        return _error.text() + _pass.text() + _duration.text() + _outcome.text() +
               _checkDuration.text() + _timestamp.text();
    }

private:
    static std::string seconds(double milliseconds) { return numberText(milliseconds / 1000); }

    void addChecks(const RequestRun& run, const Labels& request) {
        std::size_t index = 0;
        for (const CheckOutcome& check : checkOutcomes(run.result, run.request)) {
            Labels labels = request;
            labels.emplace_back("entry", std::to_string(index++));
            labels.emplace_back("type", check.type);
            labels.emplace_back("id", check.identification);
            _checkDuration.add(labels, seconds(check.milliseconds));
            for (const auto kind :
                 {CheckOutcome::Kind::pass, CheckOutcome::Kind::fail, CheckOutcome::Kind::error}) {
                Labels sample = labels;
                sample.emplace_back("outcome", nameOf(kind));
                _outcome.add(sample, check.kind == kind ? "1" : "0");
            }
        }
    }

    /// A request that is given twice has samples of its own each time.
    std::string uniqueName(const std::string& name) {
        const std::size_t count = ++_names[name];
        return count == 1 ? name : name + " (" + std::to_string(count) + ")";
    }

    std::map<std::string, std::size_t> _names;
    Metric _error{"vel_posture_error", "Whether the request ended in an error result (1)."};
    Metric _pass{"vel_posture_pass", "Whether the machine passed the request (1) or not (0)."};
    Metric _duration{"vel_posture_duration_seconds", "How long the request took."};
    Metric _outcome{"vel_posture_check_outcome",
                    "1 for the outcome of the check, 0 for the other outcomes."};
    Metric _checkDuration{"vel_posture_check_duration_seconds", "How long the check took."};
    Metric _timestamp{"vel_posture_run_timestamp_seconds", "When the request was run."};
};

} // namespace

std::string prometheusReport(const std::vector<RequestRun>& runs) {
    Report report;
    for (const RequestRun& run : runs) {
        report.add(run);
    }
    return report.text();
}
