// SPDX-License-Identifier: Apache-2.0
#include "Tests/Support/ChildProgram.h"
#include "Tools/vel-posture/check/JUnitReport.h"
#include "Tools/vel-posture/check/PrometheusReport.h"

#include <gtest/gtest.h>

namespace {

RequestRun runOf(const std::string& name, const std::string& request, const std::string& result) {
    RequestRun run;
    run.name = name;
    run.document = request;
    run.request = VELValue::parse(request);
    run.time = std::chrono::sys_days(std::chrono::year(2026) / 2 / 28) + std::chrono::hours(13) +
               std::chrono::milliseconds(250);
    run.resultDocument = result;
    run.result = VELValue::parse(result);
    return run;
}

std::vector<RequestRun> runs() {
    return {runOf("a \"b\"\\.json",
                  R"({"mac": [{"type": "x"}, {"type": "y", "id": "<1>"}, {"type": "z\u0007"}]})",
                  R"({"checks": [{"type": "x", "pass": true},
                                 {"type": "y", "id": "<1>", "version": "9", "pass": false},
                                 {"type": "z\u0007", "error": "no & \u0007"}],
                      "pass": false,
                      "metrics": {"total_ms": 1500.0, "details": [
                          {"check": {"total_ms": 1000.0}}, {"check": {"total_ms": 0.5}},
                          {"check": {"total_ms": 0.0}}]}})"),
            runOf("identity", R"({"identity_params": []})",
                  R"({"identity_params": {}, "metrics": {"total_ms": 0.0}})"),
            runOf("wrong", "7", R"({"error": "the request is not an object"})")};
}

const char* const junit = R"xml(<?xml version="1.0" encoding="UTF-8"?>
<testsuites name="vel-posture" tests="5" failures="1" errors="2" skipped="0" time="1.500000">
  <testsuite name="a &quot;b&quot;\.json" timestamp="2026-02-28T13:00:00" hostname="host" tests="3" failures="1" errors="1" skipped="0" time="1.500000">
    <testcase name="mac[0] x" classname="a &quot;b&quot;\.json" time="1.000000" />
    <testcase name="mac[1] y (id: &lt;1>)" classname="a &quot;b&quot;\.json" time="0.000500">
      <failure message="did not pass" type="failure">id: &lt;1&gt;, version: 9</failure>
    </testcase>
    <testcase name="mac[2] z\u0007" classname="a &quot;b&quot;\.json" time="0.000000">
      <error message="no &amp; \u0007" type="error"></error>
    </testcase>
  </testsuite>
  <testsuite name="identity" timestamp="2026-02-28T13:00:00" hostname="host" tests="1" failures="0" errors="0" skipped="0" time="0.000000">
    <testcase name="identity" classname="identity" time="0.000000" />
  </testsuite>
  <testsuite name="wrong" timestamp="2026-02-28T13:00:00" hostname="host" tests="1" failures="0" errors="1" skipped="0" time="0.000000">
    <testcase name="request" classname="wrong" time="0.000000">
      <error message="the request is not an object" type="error"></error>
    </testcase>
  </testsuite>
</testsuites>
)xml";

TEST(JUnitReport, HasASuitePerRequest) {
    EXPECT_EQ(junitReport(runs(), "host"), junit);
}

const char* const metrics =
    R"(# HELP vel_posture_error Whether the request ended in an error result (1).
# TYPE vel_posture_error gauge
vel_posture_error{request="a \"b\"\\.json"} 0
vel_posture_error{request="identity"} 0
vel_posture_error{request="wrong"} 1
# HELP vel_posture_pass Whether the machine passed the request (1) or not (0).
# TYPE vel_posture_pass gauge
vel_posture_pass{request="a \"b\"\\.json"} 0
# HELP vel_posture_duration_seconds How long the request took.
# TYPE vel_posture_duration_seconds gauge
vel_posture_duration_seconds{request="a \"b\"\\.json"} 1.5
# HELP vel_posture_check_outcome 1 for the outcome of the check, 0 for the other outcomes.
# TYPE vel_posture_check_outcome gauge
vel_posture_check_outcome{request="a \"b\"\\.json",entry="0",type="x",id="",outcome="pass"} 1
vel_posture_check_outcome{request="a \"b\"\\.json",entry="0",type="x",id="",outcome="fail"} 0
vel_posture_check_outcome{request="a \"b\"\\.json",entry="0",type="x",id="",outcome="error"} 0
vel_posture_check_outcome{request="a \"b\"\\.json",entry="1",type="y",id="id: <1>",outcome="pass"} 0
vel_posture_check_outcome{request="a \"b\"\\.json",entry="1",type="y",id="id: <1>",outcome="fail"} 1
vel_posture_check_outcome{request="a \"b\"\\.json",entry="1",type="y",id="id: <1>",outcome="error"} 0
vel_posture_check_outcome{request="a \"b\"\\.json",entry="2",type="z\\u0007",id="",outcome="pass"} 0
vel_posture_check_outcome{request="a \"b\"\\.json",entry="2",type="z\\u0007",id="",outcome="fail"} 0
vel_posture_check_outcome{request="a \"b\"\\.json",entry="2",type="z\\u0007",id="",outcome="error"} 1
# HELP vel_posture_check_duration_seconds How long the check took.
# TYPE vel_posture_check_duration_seconds gauge
vel_posture_check_duration_seconds{request="a \"b\"\\.json",entry="0",type="x",id=""} 1
vel_posture_check_duration_seconds{request="a \"b\"\\.json",entry="1",type="y",id="id: <1>"} 5e-04
vel_posture_check_duration_seconds{request="a \"b\"\\.json",entry="2",type="z\\u0007",id=""} 0
# HELP vel_posture_run_timestamp_seconds When the request was run.
# TYPE vel_posture_run_timestamp_seconds gauge
vel_posture_run_timestamp_seconds{request="a \"b\"\\.json"} 1772283600.25
vel_posture_run_timestamp_seconds{request="identity"} 1772283600.25
vel_posture_run_timestamp_seconds{request="wrong"} 1772283600.25
)";

TEST(PrometheusReport, HasASamplePerOutcome) {
    EXPECT_EQ(prometheusReport(runs()), metrics);
}

TEST(PrometheusReport, KeepsSamplesOfTheSameNameApart) {
    const RequestRun run = runs().at(1);
    const std::string report = prometheusReport({run, run});
    EXPECT_NE(report.find("vel_posture_error{request=\"identity\"} 0\n"), std::string::npos);
    EXPECT_NE(report.find("vel_posture_error{request=\"identity (2)\"} 0\n"), std::string::npos);
}

TEST(PrometheusReport, PromtoolAcceptsIt) {
    if (ChildProgram{{"/bin/sh", "-c", "command -v promtool"}}.run().status != 0) {
        GTEST_SKIP() << "promtool is not installed";
    }
    ChildProgram promtool{{"/usr/bin/env", "promtool", "check", "metrics"}};
    for (const std::string& text :
         {std::string(metrics), prometheusReport({runs().at(1), runs().at(1)})}) {
        promtool.input = text;
        EXPECT_EQ(promtool.run(), (ChildProgram::Result{0, "", ""}));
    }
}

} // namespace
