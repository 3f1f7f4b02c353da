// SPDX-License-Identifier: Apache-2.0
#include "Tests/Support/LogStatement.h"

#include "Tests/Support/RegularExpression.h"

#include <fstream>
#include <vector>

namespace {

std::vector<std::string> linesOf(const std::string& path) {
    std::ifstream stream(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

bool endsStatement(const std::string& line) {
    return line.empty() || line.ends_with(';') || line.ends_with('{') || line.ends_with('}') ||
           line.ends_with(':');
}

} // namespace

std::string statementOf(const LogLine& logged) {
    const auto lines = linesOf(VEL_SOURCE_DIRECTORY "/" + logged.file);
    if (logged.line < 1 || static_cast<std::size_t>(logged.line) > lines.size()) {
        return {};
    }
    auto first = static_cast<std::size_t>(logged.line) - 1;
    while (first > 0 && !endsStatement(lines[first - 1])) {
        --first;
    }
    std::string statement;
    for (std::size_t at = first; at < lines.size(); ++at) {
        statement += lines[at] + "\n";
        if (endsStatement(lines[at])) {
            break;
        }
    }
    statement = replacedAll(statement, "\"\\s*\n\\s*\"", "");
    return replacedAll(statement, "\\s*\n\\s*", " ");
}

testing::AssertionResult standsWhereItSays(const LogLine& logged, std::string_view format) {
    const std::string statement = statementOf(logged);
    if (statement.find("logMessageWithLevel(") == std::string::npos) {
        return testing::AssertionFailure()
               << logged.file << ":" << logged.line << " is no log statement: " << statement;
    }
    if (statement.find("\"" + std::string(format) + "\"") == std::string::npos) {
        return testing::AssertionFailure() << logged.file << ":" << logged.line
                                           << " does not log \"" << format << "\": " << statement;
    }
    return testing::AssertionSuccess();
}
