// The "Workspace Test" page: positions as lines of text, a millisecond apart as far as painting leaves the time.
// The browser is the whole record; it goes on when the page is left, and "Record interval" is not read. The form
// lets no line wrap: each change of the browser's width would lay out all of them anew. Painting a window with
// scenes takes milliseconds, which at each line would lose most of them: lines are painted some at a time.
#include "pages/pages.h"
#include "qttharlentest.h"
#include "servostate.h"

namespace {

constexpr int kRecordPeriod = 1;     ///< ms
constexpr int kLinesAPainting = 40;  ///< while recording

}  // namespace

void qtTharlenTest::startWorkspaceRecord() {
    startNewTimer(*this, posRecordTimer, &qtTharlenTest::recordWorkspace, kRecordPeriod);
    ui.startRecord->setEnabled(false);
    ui.stopRecord->setEnabled(true);
}

void qtTharlenTest::recordWorkspace() {
    float position[3] = {};
    get_tharlen_pos(csTharlenID, position);
    ui.textBrowser_2->setUpdatesEnabled(false);
    ui.textBrowser_2->append(QString::asprintf("%f \t%f \t%f", static_cast<double>(position[0]),
                                               static_cast<double>(position[1]), static_cast<double>(position[2])));
    if (ui.textBrowser_2->document()->blockCount() % kLinesAPainting == 0)
        ui.textBrowser_2->setUpdatesEnabled(true);
}

void qtTharlenTest::stopWorkspaceRecord() {
    if (posRecordTimer)
        posRecordTimer->stop();
    ui.textBrowser_2->setUpdatesEnabled(true);
    ui.stopRecord->setEnabled(false);
    ui.startRecord->setEnabled(true);
}
