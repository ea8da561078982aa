// The configured devices: the built-in fleet, or the one of `$KNDD_HOME/config/devices.json`.
#pragma once

#include <string>
#include <vector>

#include "device/tharlenio.h"
#include "lines.h"

namespace arm {

constexpr int kNoAnswerOldCard = -5;
constexpr int kNoAnswerUsb = -28;
constexpr int kNoAnswerLan = -31;

struct FleetDevice {
    std::string name;    ///< UTF-8
    std::string latin1;  ///< the same as it crosses the boundary, at most 127 bytes
    const LineFigures* line = nullptr;
    int cardType = 7;
    int grip = 0;  ///< 0 none, 1 thumbpad, 2 scissor
    bool gimbal = true;
    int revision = 1;  ///< 0 to 15
    std::string serial;

    /// Code of an operation that the device does not answer.
    int noAnswer() const { return cardType == 6 ? kNoAnswerLan : cardType == 7 ? kNoAnswerUsb : kNoAnswerOldCard; }
};

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
