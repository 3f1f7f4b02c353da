/* SPDX-License-Identifier: Apache-2.0 */

/*
 * A test of a host in C: whether it lets its user in on Macs in states that the test describes. It
 * needs neither a Mac nor root.
 */

#include <vel_device_trust_described/vel_device_trust_described_c.h>

#include <stdio.h>
#include <string.h>

static const char request[] = "{\"mac\": [{\"type\": \"minimumOSVersion\", \"version\": \"14.0\"}]}";

/*
 * The host under test. In a real project this is the host's own code, which is handed a runner: of
 * this machine by the program, of a described Mac by the test. It would read the result with a JSON
 * library; texts within a result have their quotation marks escaped, so this finds keys alone.
 */
static int lets_in(const vel_runner *runner)
{
    char *result = vel_runner_run(runner, request, strlen(request), NULL);
    int passed = strstr(result, "\"checks\":[{") != NULL && strstr(result, "\"pass\":false") == NULL &&
                 strstr(result, "\"error\":") == NULL;

    vel_result_free(result);
    return passed;
}

/* 1 where the host does something else than `expected`. */
static int differs(const char *description, int expected)
{
    char *error = NULL;
    vel_runner *runner =
        vel_described_runner_create(description, strlen(description), NULL, NULL, NULL, &error);
    int answer;

    if (runner == NULL) {
        fprintf(stderr, "no such Mac: %s\n", error != NULL ? error : "out of memory");
        vel_result_free(error);
        return 1;
    }
    answer = lets_in(runner);
    vel_runner_free(runner);
    if (answer != expected)
        fprintf(stderr, "%s: the host %s\n", description, answer ? "lets in" : "keeps out");
    return answer != expected;
}

int main(void)
{
    int failures = differs("{\"productVersion\": \"14.5\"}", 1) +
                   differs("{\"productVersion\": \"13.6\"}", 0) + differs("{}", 0);

    puts(failures == 0 ? "passed" : "failed");
    return failures != 0;
}
