// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/check/JUnitReport.h"

#include "Tools/vel-posture/DisplayText.h"
#include "Tools/vel-posture/RequestSource.h"
#include "Tools/vel-posture/check/CheckOutcome.h"

#include <pugixml.hpp>

#include <sstream>

namespace {

struct Totals {
    std::size_t tests = 0;
    std::size_t failures = 0;
    std::size_t errors = 0;
    double milliseconds = 0;

    void add(const Totals& other) {
        tests += other.tests;
        failures += other.failures;
        errors += other.errors;
        milliseconds += other.milliseconds;
    }
};

std::string seconds(double milliseconds) {
    return decimalText(milliseconds / 1000, 6);
}

void setAttribute(pugi::xml_node& node, const char* name, const std::string& value) {
    node.append_attribute(name).set_value(value.c_str());
}

void setTotals(pugi::xml_node& node, const Totals& totals) {
    setAttribute(node, "tests", std::to_string(totals.tests));
    setAttribute(node, "failures", std::to_string(totals.failures));
    setAttribute(node, "errors", std::to_string(totals.errors));
    setAttribute(node, "skipped", "0");
    setAttribute(node, "time", seconds(totals.milliseconds));
}

pugi::xml_node addCase(pugi::xml_node& suite, const std::string& name, const std::string& suiteName,
                       double milliseconds) {
    pugi::xml_node test = suite.append_child("testcase");
    setAttribute(test, "name", name);
    setAttribute(test, "classname", suiteName);
    setAttribute(test, "time", seconds(milliseconds));
    return test;
}

/// `element`: "failure" or "error".
void addProblem(pugi::xml_node& test, const char* element, const std::string& message,
                const std::string& text) {
    pugi::xml_node problem = test.append_child(element);
    setAttribute(problem, "message", message);
    setAttribute(problem, "type", element);
    problem.text().set(text.c_str());
}

Totals addChecks(pugi::xml_node& suite, const RequestRun& run, const std::string& suiteName) {
    Totals totals;
    for (const CheckOutcome& check : checkOutcomes(run.result, run.request)) {
        const std::string place =
            std::string(platformIdentifier) + "[" + std::to_string(totals.tests++) + "] ";
        const std::string& about = check.identification;
        pugi::xml_node test =
            addCase(suite, place + check.type + (about.empty() ? "" : " (" + about + ")"),
                    suiteName, check.milliseconds);
        if (check.kind == CheckOutcome::Kind::fail) {
            ++totals.failures;
            addProblem(test, "failure", "did not pass", check.parameters);
        } else if (check.kind == CheckOutcome::Kind::error) {
            ++totals.errors;
            addProblem(test, "error", check.error, check.parameters);
        }
    }
    totals.milliseconds = run.result.at("metrics").at("total_ms").get<double>();
    return totals;
}

Totals addAnswer(pugi::xml_node& suite, const RequestRun& run, const std::string& suiteName) {
    Totals totals = {.tests = 1};
    if (!isErrorResult(run.result)) {
        addCase(suite, "identity", suiteName, 0);
        return totals;
    }
    pugi::xml_node test = addCase(suite, "request", suiteName, 0);
    addProblem(test, "error", shown(run.result.at("error")), "");
    totals.errors = 1;
    return totals;
}

Totals addSuite(pugi::xml_node& root, const RequestRun& run, const std::string& host) {
    const std::string name = printable(run.name);
    pugi::xml_node suite = root.append_child("testsuite");
    setAttribute(suite, "name", name);
    // JUnit's schema has neither fractions nor a time zone.
    setAttribute(suite, "timestamp",
                 timeText(run.time).substr(0, sizeof("0000-00-00T00:00:00") - 1));
    setAttribute(suite, "hostname", host);
    const Totals totals =
        isDeviceTrustResult(run.result) ? addChecks(suite, run, name) : addAnswer(suite, run, name);
    setTotals(suite, totals);
    return totals;
}

} // namespace

std::string junitReport(const std::vector<RequestRun>& runs, std::string_view host) {
    pugi::xml_document document;
    pugi::xml_node declaration = document.append_child(pugi::node_declaration);
    setAttribute(declaration, "version", "1.0");
    setAttribute(declaration, "encoding", "UTF-8");
    pugi::xml_node root = document.append_child("testsuites");
    setAttribute(root, "name", "vel-posture");
    Totals totals;
    for (const RequestRun& run : runs) {
        totals.add(addSuite(root, run, printable(host)));
    }
    setTotals(root, totals);
    std::ostringstream text;
    document.save(text, "  ");
    return std::move(text).str();
}
