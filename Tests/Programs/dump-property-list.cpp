// SPDX-License-Identifier: Apache-2.0

/// Prints what the property list reader makes of each file named: one line of JSON for each, an
/// object with the one key "value" or "error". Other readers are compared with it.
#include "Base/VELPropertyList.h"

#include <nlohmann/json.hpp>

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>

int main(int count, char** arguments) {
    for (int index = 1; index < count; ++index) {
        std::ifstream file(arguments[index], std::ios::binary);
        if (!file) {
            std::cerr << "cannot open " << arguments[index] << '\n';
            return EXIT_FAILURE;
        }
        const std::string bytes(std::istreambuf_iterator<char>(file), {});
        std::optional<VELError> error;
        const auto value = vel::readPropertyList(bytes, &error);
        const VELValue line = value ? VELValue{{"value", *value}}
                                    : VELValue{{"error", error ? error->message() : "no error"}};
        std::cout << line.dump() << '\n';
    }
    return EXIT_SUCCESS;
}
