#include "flows.h"

#include "modellines.h"
#include "qttharlentest.h"

// clang-format off
const std::array<Flow, 3> Flow::all = {{
    {"manufacturing", "Manufacturing",
     "Certifies a device, forward only, and writes the report at the end. \"Cycle Amps\" switches the amplifiers on and "
     "off by itself; \"Test Forces\" pushes as hard as the sliders are moved; the walls of \"Box Test\" push back with up "
     "to the device's greatest force.",
     true, false},
    {"encodertest", "Manufacturing and encoder test",
     "The same, and the closed-loop encoder test, in which the motors move the arm along a route by themselves until its "
     "time is over or Stop is pressed. Keep hands and things out of the whole workspace.",
     true, true},
    {"engineering", "Engineering",
     "Single measurements on the pages of \"Performance Testing\", in any order, without verdicts and without a report. "
     "Typed commands go to the motors unchecked, at once and at any size, and stay until they are cleared or the tab is "
     "left.",
     false, false},
}};
// clang-format on

void Flow::prepareGate() const {
    const auto put = [](const char* name, bool set) {
        if (set)
            qputenv(name, "1");
        else
            qunsetenv(name);
    };
    put("MVI_MANUFACTURING", manufacturing);
    put("MVI_ENCODER_CHECK", encoderCheck);
}

const Flow& findFlow(const QString& word) {
    for (const Flow& flow : Flow::all) {
        if (word == flow.word)
            return flow;
    }
    return Flow::all.front();
}

QString whereFlowsEnd() {
    return "An Orda (model \"Nolva\") and a Corvale (model \"Nolva X\") go through to the report. A Nolva goes no "
           "further than \"Read Encoder\" and a Stelmar no further than \"Calibrate\": for these no report is written.";
}

QString flowEndsHere(const qtTharlenTest& window) {
    if (window.csTharlenID < 0 || !window.manufMode || window.performanceTestMode)
        return {};
    const ModelLine& line = window.modelLine();
    const QWidget* const page = window.ui.tabWidget->currentWidget();
    const bool calibrates = line.calibration == Calibration::HomeSensors || line.calibration == Calibration::InkWell;
    const bool ends = page == window.ui.tab_2 ? !calibrates : page == window.ui.tab_3 && !line.judgesEncoders;
    if (!ends)
        return {};
    const char* const opens = window.encoderTestMode && page == window.ui.tab_3
                                  ? "only \"Encoder Test\" opens beside it"
                                  : "no further test opens";
    return QString(
               "The manufacturing flow of a %1 ends on this tab: %2, and no report is written. Close the window to go "
               "on to the next device.")
        .arg(line.name, opens);
}
