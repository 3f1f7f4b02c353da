// SPDX-License-Identifier: Apache-2.0
#include "Tests/Platform/Apple/StandIns/StandInMac.h"

#include "Tests/Platform/Apple/StandIns/StandInObjects.h"
#include "Tests/Platform/Apple/StandIns/StandInPorts.h"

#include <utility>

namespace {

StandInMac* currentMac = nullptr;

} // namespace

StandInMac::StandInMac(std::shared_ptr<VELSimulatedPlatform> mac)
    : described(*mac), _described(std::move(mac)) {
    if (currentMac != nullptr) {
        standin::abortOn("a second Mac");
    }
    currentMac = this;
}

StandInMac::~StandInMac() {
    currentMac = nullptr;
}

StandInMac& StandInMac::current() {
    if (currentMac == nullptr) {
        standin::abortOn("a question without a Mac");
    }
    return *currentMac;
}

std::vector<std::string> StandInMac::leftAlive() {
    std::vector<std::string> alive = standin::liveObjects();
    alive.insert(alive.end(), standin::livePorts(), "io_object_t");
    return alive;
}
