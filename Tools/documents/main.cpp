// SPDX-License-Identifier: Apache-2.0

// Writes the manual page and the shells' completions of vel-posture, from the table that its
// command line is read by:
//
//     vel-posture-documents FRAME SECONDS FOLDER
//
// FRAME is the manual page with places for what comes from the table, SECONDS its date since 1970.
// FOLDER receives vel-posture.1, vel-posture.bash, vel-posture.zsh and vel-posture.fish.

#include "Tools/documents/CommandDescription.h"
#include "Tools/documents/Completions.h"
#include "Tools/documents/ManualPage.h"
#include "Tools/vel-posture/OptionTable.h"

#include <cstdio>
#include <exception>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace {

std::string readText(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(file), {}};
    if (!file.is_open() || file.bad()) {
        throw std::runtime_error("cannot read " + path);
    }
    return text;
}

void writeText(const std::string& path, const std::string& text) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    if (!(file << text).flush()) {
        throw std::runtime_error("cannot write " + path);
    }
}

void writeDocuments(const std::string& frame, const std::string& seconds,
                    const std::string& folder) {
    CommandLine commandLine;
    const CommandDescription program = describeCommand(*makeOptionTable(commandLine));
    const std::string path = folder + "/" + program.name;
    writeText(path + ".1", manualPage(program, readText(frame), std::stoll(seconds)));
    writeText(path + ".bash", bashCompletion(program));
    writeText(path + ".zsh", zshCompletion(program));
    writeText(path + ".fish", fishCompletion(program));
}

} // namespace

int main(int argumentCount, char** arguments) {
    if (argumentCount != 4) {
        std::fputs("usage: vel-posture-documents FRAME SECONDS FOLDER\n", stderr);
        return 2;
    }
    try {
        writeDocuments(arguments[1], arguments[2], arguments[3]);
        return 0;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "vel-posture-documents: %s\n", failure.what());
        return 2;
    }
}
