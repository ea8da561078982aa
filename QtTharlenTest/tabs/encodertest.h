// Types of the closed-loop encoder test: its filters, and what its ticks tell the window.
#pragma once

#include <cstddef>
#include <ctime>

#include "endurance.h"
#include "handover.h"

/// A direct-form digital filter, one for each base axis. Input is the error in counts, output DAC counts.
struct iir_structure {
    Shared<int> order;                   ///< always 2
    SharedArray<float, 11> numerator;    ///< feed-forward coefficients
    SharedArray<float, 11> denominator;  ///< feedback coefficients; the first one is the normaliser
    SharedArray<float, 11> zbuffer;      ///< delay line, used from index 1
};

/// Decrements of the fault counter, by axes out of reach and commands beyond their limit, that end the motion.
constexpr long kMotionTolerance = 1000;

/// What a tick tells the window. `values` by kind: the error or the temperature alone; the command; three
/// angles (rad) or counts; the count, temperature and level (0 or 1) of a sensor's edge.
struct EncoderTestEvent {
    enum Kind {
        PositionError,       ///< counts
        TemperatureError,    ///< degrees Celsius
        TemperatureWarning,  ///< degrees Celsius
        DacError,            ///< DAC counts
        TestPointAngles,     ///< rad
        TestPointCounts,
        SensorEdge,
        Stop  ///< the time is up: press the stop button
    };
    Kind kind = Stop;
    int axis = 0;
    std::time_t time = 0;  ///< s since the epoch
    double values[3] = {};
};

/// Events that wait for the window. A run makes about one a second and each warning level once in a process,
/// so that a window which does not look for minutes still gets them all.
constexpr std::size_t kEncoderTestEvents = 256;

class qtTharlenTest;

/// Keeps the options of the tick current as they are clicked. [graphical thread]
void connectEncoderTestOptions(qtTharlenTest& window);
/// A copy of the commands, six DAC counts, valid until the next call. [any thread]
long* encoderTestCommands(qtTharlenTest& window);
