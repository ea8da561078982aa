// The configured devices: the built-in fleet, or the one of `$KNDD_HOME/config/devices.json`.
#pragma once

#include <string>
#include <vector>

#include "device/tharlenio.h"
#include "model/fleetdevice.h"

namespace arm {

struct Fleet {
    std::vector<FleetDevice> devices;
    std::string source = "built in";

    /// Index of the device with this Latin-1 name, or -1.
    int find(const std::string& latin1) const;
};

/// The fleet as it is now configured. A file that cannot be read as a fleet, or of which cannot be told whether it is
/// there, is one line on standard error, and then the built-in fleet stands. One that is not there is none.
Fleet loadFleet();

/// Fills a record of the store.
void fillRecord(const FleetDevice& device, int index, CTHARLeNDevice& record);

}  // namespace arm
