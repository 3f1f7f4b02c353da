// SPDX-License-Identifier: Apache-2.0
#include "Platform/Simulated/VELSimulatedFiles.h"

bool VELSimulatedFiles::exists(const std::string& path) const {
    ++existsCalls;
    return contents.contains(path);
}

std::optional<std::string> VELSimulatedFiles::read(const std::string& path) const {
    ++readCalls;
    const auto file = contents.find(path);
    return file == contents.end() ? std::nullopt : file->second;
}
