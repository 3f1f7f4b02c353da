// SPDX-License-Identifier: Apache-2.0
#include "Benchmarks/RatioBenchmark.h"
#include "Classes/Mac/VELFileVaultEncryptionCheck.h"
#include "Platform/Linux/VELLinuxPlatform.h"
#include "Tests/Support/MadeMachine.h"

#include <benchmark/benchmark.h>

#include <memory>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

// What the scan of the mounted volumes costs as they grow in number, at a point each or stacked on
// one. Every ten mounts (as bind mounts and subvolumes are) share a device of their own: an
// encrypted one over one disk. The floor
// is ten scans of a machine with a tenth of the mounts: 1 when the cost is linear, 10 when it is
// quadratic.

namespace {

using namespace vel::benchmarks;

constexpr double growthLimit = 2.0;
constexpr std::size_t mountsPerDevice = 10;

enum class MountPoints { one, many };

class ScannedMachine {
public:
    ScannedMachine(std::size_t mounts, MountPoints points) {
        const std::string disk = "pci0000:00/0000:00:1f.2/ata1/host0/target0:0:0/block/sda";
        _machine.disk("8:0", disk);
        for (std::size_t index = 0; index < mounts; ++index) {
            const std::string number = std::to_string(index);
            const std::string device = std::to_string(index / mountsPerDevice);
            if (index % mountsPerDevice == 0) {
                _machine.stacked("254:" + device, "dm-" + device, "CRYPT-LUKS2-a-b", {disk});
            }
            const std::string name = points == MountPoints::many ? "m" + number : "m";
            _machine.addMount("2 1 254:" + device + " / /" + (index == 0 ? "" : name) +
                              " rw,relatime shared:1 - ext4 /dev/mapper/m rw\n");
        }
        _machine.writeMountInfo();
    }

    void scan() const {
        if (!VELFileVaultEncryptionCheck(_platform).allInternalOrBootVolumesEncrypted()) {
            throw std::runtime_error("the scan of encrypted volumes failed");
        }
    }

private:
    MadeMachine _machine;
    std::shared_ptr<const VELPlatform> _platform = std::make_shared<VELLinuxPlatform>(
        VELLinuxProductVersion(_machine.root()),
        VELLinuxSerialNumber(_machine.root(), [] { return std::optional<std::string>(); }),
        VELLinuxPreferences(_machine.root(), [] { return std::optional<std::string>(); }),
        VELPOSIXFiles(_machine.root()),
        VELLinuxDisks(
            {.root = _machine.root(),
             .btrfsInformation = [](const std::string&, unsigned) { return std::nullopt; },
             .udevProperty = [](unsigned, unsigned, const char*) { return std::nullopt; }}));
};

void volumeScanGrowth(benchmark::State& state, MountPoints points) {
    const auto mounts = static_cast<std::size_t>(state.range(0));
    const ScannedMachine machine(mounts, points);
    const ScannedMachine tenth(mounts / 10, points);
    measureRatio(
        state,
        "volume scan growth / ten of a tenth, " + std::to_string(mounts) + " mounts" +
            (points == MountPoints::one ? " on one point" : ""),
        growthLimit, [&] { machine.scan(); },
        [&] {
            for (int part = 0; part < 10; ++part) {
                tenth.scan();
            }
        });
    state.counters["mounts"] = static_cast<double>(mounts);
}

} // namespace

BENCHMARK_CAPTURE(volumeScanGrowth, manyPoints, MountPoints::many)
    ->RangeMultiplier(10)
    ->Range(10, 10'000)
    ->UseManualTime()
    ->Iterations(rounds);
BENCHMARK_CAPTURE(volumeScanGrowth, onePoint, MountPoints::one)
    ->RangeMultiplier(10)
    ->Range(100, 10'000)
    ->UseManualTime()
    ->Iterations(rounds);
