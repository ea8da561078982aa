// The "Workspace Test" page: positions as lines of text, a millisecond apart as far as painting leaves the time.
// The browser is the whole record; it goes on when the page is left, and "Record interval" is not read. No line wraps,
// and RecordLayout takes each where its number says. Painting a window with scenes takes milliseconds, which at each
// line would lose most of them: lines are painted some at a time, and at once where the browser comes up or changes its
// size.
#include <QListWidget>
#include <QTextDocument>

#include "handon.h"
#include "pages/pages.h"
#include "pages/recordlayout.h"
#include "qttharlentest.h"
#include "servostate.h"

namespace {

constexpr int kRecordPeriod = 1;     ///< ms
constexpr int kLinesAPainting = 40;  ///< while recording

/// What lies below a widget that is not painted would be seen in its place.
class PaintAtOnce : public QObject {
public:
    /// Once for each browser, by its name.
    static void watch(QTextBrowser* browser) {
        if (browser->findChild<QObject*>("paintAtOnce", Qt::FindDirectChildrenOnly))
            return;
        auto* const filter = new PaintAtOnce(browser);
        filter->setObjectName("paintAtOnce");
        browser->installEventFilter(filter);
    }
    bool eventFilter(QObject* watched, QEvent* event) override {
        auto* const browser = static_cast<QTextBrowser*>(watched);
        if ((event->type() == QEvent::Show || event->type() == QEvent::Resize) && !browser->updatesEnabled())
            QMetaObject::invokeMethod(
                browser,
                [browser] {
                    browser->setUpdatesEnabled(true);
                    browser->viewport()->repaint();
                },
                Qt::QueuedConnection);
        return false;
    }

private:
    explicit PaintAtOnce(QTextBrowser* browser) : QObject(browser) {}
};

void layOutByNumber(QTextDocument* record) {
    if (!dynamic_cast<RecordLayout*>(record->documentLayout()))
        record->setDocumentLayout(new RecordLayout(record));
}

/// A red ground of the page's row, since a record goes on behind any other page.
void markRecording(qtTharlenTest& window, bool recording) {
    for (QListWidgetItem* row : window.ui.listWidget->findItems("Workspace Test", Qt::MatchExactly)) {
        row->setBackground(recording ? QBrush(QColor(250, 190, 190)) : QBrush());
        row->setData(Qt::AccessibleTextRole, recording ? QVariant(row->text() + ", recording") : QVariant());
        row->setToolTip(recording ? "Positions are recorded until \"Stop\" is pressed on this page." : QString());
    }
}

}  // namespace

void qtTharlenTest::startWorkspaceRecord() {
    startNewTimer(*this, posRecordTimer, &qtTharlenTest::recordWorkspace, kRecordPeriod);
    PaintAtOnce::watch(ui.textBrowser_2);
    layOutByNumber(ui.textBrowser_2->document());
    markRecording(*this, true);
    handOn(ui.startRecord, ui.stopRecord);
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
    markRecording(*this, false);
    handOn(ui.stopRecord, ui.startRecord);
}
