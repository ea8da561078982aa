// One configured device: which line it is of, and what differs between devices of a line.
#pragma once

#include <string>

#include "lines.h"

namespace arm {

struct FleetDevice {
    std::string name;    ///< UTF-8
    std::string latin1;  ///< the same as it crosses the boundary, at most 127 bytes
    const LineFigures* line = nullptr;
    int cardType = kCardUsb;
    int grip = 0;  ///< 0 none, 1 thumbpad, 2 scissor
    bool gimbal = true;
    int revision = 1;  ///< 0 to 15
    std::string serial;

    /// Code of an operation that the device does not answer.
    int noAnswer() const {
        return cardType == kCardLan   ? kCommunicationErrorLan
               : cardType == kCardUsb ? kCommunicationErrorUsb
                                      : kCommunicationError;
    }
};

}  // namespace arm
