// The "Resolution Test" page: raw encoder and position readings, live.
#include "handon.h"
#include "pages/pages.h"
#include "qttharlentest.h"
#include "restyle.h"
#include "servostate.h"

namespace {

constexpr int kReadPeriod = 10;  ///< ms

}  // namespace

void qtTharlenTest::startResolutionTest() {
    startNewTimer(*this, resolutionTestTimer, &qtTharlenTest::updatePositionForResolutionTest, kReadPeriod);
    handOn(ui.pushButton_13, ui.pushButton_14);
}

/// Three counts and three mm.
static void showResolution(qtTharlenTest& window, const long* encoders, const float* position) {
    auto& ui = window.ui;
    QLabel* const counts[3] = {ui.label_74, ui.label_75, ui.label_76};
    QLabel* const places[3] = {ui.label_81, ui.label_83, ui.label_85};
    for (int i = 0; i < 3; ++i) {
        showText(counts[i], QString::number(encoders[i]));
        showText(places[i], QString::number(position[i]));
    }
}

void qtTharlenTest::updatePositionForResolutionTest() {
    long encoders[6] = {};
    float position[3] = {};
    get_encoder_values(csTharlenID, encoders);
    get_tharlen_pos(csTharlenID, position);
    showResolution(*this, encoders, position);
}

void qtTharlenTest::stopResolutionTest() {
    if (resolutionTestTimer)
        resolutionTestTimer->stop();
    handOn(ui.pushButton_14, ui.pushButton_13);
    const long encoders[3] = {};
    const float position[3] = {};
    showResolution(*this, encoders, position);
}

/// On any change of page, also to this one.
void leaveResolutionPage(qtTharlenTest& window) {
    if (resolutionTestTimer && resolutionTestTimer->isActive())
        window.stopResolutionTest();
}
