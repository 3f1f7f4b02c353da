// SPDX-License-Identifier: Apache-2.0

// A host in Objective-C: opens its data only if this Mac passes the request in the file that it is
// given.
//
//     host REQUEST.json
//
// Exit status: 0 passed, 1 did not pass, 2 could not be asked.

#import <Foundation/Foundation.h>
#import <vel_device_trust/vel_device_trust_c.h>

// Prints warnings and errors; the other levels are for troubleshooting.
static void logProblem(void *context, const char *message, size_t length, int64_t level,
                       const char *file, const char *function, int32_t line) {
    (void)context;
    (void)file;
    (void)function;
    (void)line;
    if (level >= VEL_LOG_WARNING) {
        fprintf(stderr, "log: %.*s\n", (int)length, message);
    }
}

// The result document; nil when there is no answer to read.
static NSDictionary *answerTo(NSData *request) {
    vel_runner *runner = vel_runner_create(logProblem, NULL, NULL);
    size_t length = 0;
    char *result = vel_runner_run(runner, request.bytes, request.length, &length);
    NSData *document = [NSData dataWithBytes:result length:length];
    vel_result_free(result);
    vel_runner_free(runner);
    id answer = [NSJSONSerialization JSONObjectWithData:document options:0 error:NULL];
    return [answer isKindOfClass:[NSDictionary class]] ? answer : nil;
}

static int statusOf(NSData *request) {
    NSDictionary *answer = answerTo(request);
    NSArray *checks = answer[@"checks"];
    if (checks == nil) {
        fprintf(stderr, "not answered: %s\n", [answer[@"error"] description].UTF8String);
        return 2;
    }
    for (NSDictionary *check in checks) {
        // An entry of the request can have a "pass" of its own: look for the error first.
        id error = check[@"error"];
        NSString *outcome = [check[@"pass"] isEqual:@YES] ? @"pass" : @"fail";
        if (error != nil) {
            outcome = [NSString stringWithFormat:@"error: %@", error];
        }
        printf("%s: %s\n", [check[@"type"] description].UTF8String, outcome.UTF8String);
    }
    // A request without checks passes: before giving access, make sure that there were some.
    BOOL passed = [answer[@"pass"] isEqual:@YES] && checks.count > 0;
    puts(passed ? "PASSED" : "NOT PASSED");
    return passed ? 0 : 1;
}

int main(int argumentCount, char **arguments) {
    @autoreleasepool {
        NSData *request = nil;
        if (argumentCount == 2) {
            request = [NSData dataWithContentsOfFile:@(arguments[1])];
        }
        if (request == nil) {
            fprintf(stderr, "usage: host REQUEST.json\n");
            return 2;
        }
        // On a worker thread, as in an application: a service of the system may keep it waiting.
        dispatch_async(dispatch_get_global_queue(QOS_CLASS_USER_INITIATED, 0), ^{
            exit(statusOf(request));
        });
        dispatch_main();
    }
}
