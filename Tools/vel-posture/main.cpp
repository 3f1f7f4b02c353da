// SPDX-License-Identifier: Apache-2.0
#include "vel_device_trust/vel_device_trust.h"

#include <iostream>
#include <iterator>

int main() {
    const std::string request(std::istreambuf_iterator<char>(std::cin), {});
    const auto runner = VELPostureCheckRunner::macPostureCheckRunner(nullptr);
    std::cout << runner->runPostureCheckFromDocumentString(request) << '\n';
}
