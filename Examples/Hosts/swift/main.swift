// SPDX-License-Identifier: Apache-2.0

// A host in Swift: opens its data only if this Mac passes the request in the file that it is given.
//
//     host REQUEST.json
//
// Exit status: 0 passed, 1 did not pass, 2 could not be asked.

import Foundation
import vel_device_trust

func printProblem(_ text: String) {
    FileHandle.standardError.write(Data((text + "\n").utf8))
}

/// What the library answers to requests on this Mac.
final class PostureRunner {
    private let runner: OpaquePointer?

    init() {
        // Prints warnings and errors; the other levels are for troubleshooting.
        runner = vel_runner_create({ _, message, length, level, _, _, _ in
            guard level >= Int64(VEL_LOG_WARNING) else { return }
            let bytes = UnsafeRawBufferPointer(start: message, count: length)
            printProblem("log: " + String(decoding: bytes, as: UTF8.self))
        }, nil, nil)
    }

    deinit {
        vel_runner_free(runner)
    }

    /// The result document. Waits for the system's services: call it on a worker thread.
    func run(_ request: Data) -> Data {
        request.withUnsafeBytes { bytes in
            var length = 0
            let text = bytes.bindMemory(to: CChar.self)
            let result = vel_runner_run(runner, text.baseAddress, text.count, &length)
            defer { vel_result_free(result) }
            return Data(bytes: result, count: length)
        }
    }
}

func status(of document: Data) -> Int32 {
    let answer = (try? JSONSerialization.jsonObject(with: document)) as? [String: Any]
    guard let checks = answer?["checks"] as? [[String: Any]] else {
        printProblem("not answered: \(answer?["error"] ?? "no document")")
        return 2
    }
    for check in checks {
        // An entry of the request can have a "pass" of its own: look for the error first.
        let outcome = check["error"].map { "error: \($0)" }
            ?? (check["pass"] as? Bool == true ? "pass" : "fail")
        print("\(check["type"] ?? "(no type)"): \(outcome)")
    }
    // A request without checks passes: before giving access, make sure that there were some.
    let passed = answer?["pass"] as? Bool == true && !checks.isEmpty
    print(passed ? "PASSED" : "NOT PASSED")
    return passed ? 0 : 1
}

guard CommandLine.arguments.count == 2,
      let request = FileManager.default.contents(atPath: CommandLine.arguments[1]) else {
    printProblem("usage: host REQUEST.json")
    exit(2)
}

// On a worker thread, as in an application: a service of the system may keep it waiting.
DispatchQueue.global(qos: .userInitiated).async {
    exit(status(of: PostureRunner().run(request)))
}
dispatchMain()
