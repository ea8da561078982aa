// What the closed-loop encoder test needs of a model line.
#pragma once

constexpr int kRouteRows = 9;

/// Controller of one base axis.
struct AxisGains {
    float p, i, d;  ///< DAC counts for each count of error, of summed error, of change in a tick
    float parity;   ///< sign of the motor
    float offset;   ///< constant command, DAC counts, before the sign
};

struct EncoderTestLine {
    AxisGains axes[3];
    int maxDac;                 ///< greatest command either way, DAC counts
    long stepSize;              ///< of the set point, counts/tick
    long settleTolerance;       ///< counts
    long pushStep[3];           ///< growth of the command at a test point, DAC counts/tick
    int pushPart[3];            ///< it grows to maxDac over this
    long route[kRouteRows][3];  ///< counts
};

extern const EncoderTestLine kOrdaEndurance;
extern const EncoderTestLine kCorvaleEndurance;
extern const EncoderTestLine kCorvaleUsbEndurance;
