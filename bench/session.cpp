#include "session.h"

#include <QDateTime>
#include <QFileInfo>
#include <QTabBar>

#include "modellines.h"
#include "qttharlentest.h"
#include "tabs.h"

namespace {

constexpr int kWatchPeriod = 50;     ///< ms
constexpr int kInsistPeriod = 3000;  ///< ms

/// Changes whenever a report is written; empty where there is none.
QString stampOf(const QString& file) {
    const QFileInfo info(file);
    return info.exists() ? QString("%1 %2").arg(info.lastModified().toMSecsSinceEpoch()).arg(info.size()) : QString();
}

}  // namespace

BenchSession::BenchSession(qtTharlenTest& window, const Flow& flow, bool mechanics, const QString& operatorName)
    : m_window(window), m_flow(flow), m_mechanics(mechanics), m_reportBefore(stampOf(reportFile())) {
    auto& ui = window.ui;
    ui.lineEdit_name->setText(operatorName);
    // The window's own slots were connected first and have run by then.
    connect(ui.tabWidget, &QTabWidget::currentChanged, this, &BenchSession::sayWhereFlowEnds);
    connect(ui.tabWidget, &QTabWidget::currentChanged, this, &BenchSession::insistOnReport);
    connect(&m_insist, &QTimer::timeout, this, &BenchSession::insistOnReport);
    connect(ui.user_radioButton, &QRadioButton::clicked, this, &BenchSession::tellMode);
    tellMode();
    if (!mechanics)
        return;
    connect(ui.next_button, &QPushButton::pressed, this, &BenchSession::placeMechanics);
    connect(ui.tabWidget, &QTabWidget::tabBarClicked, this, &BenchSession::placeMechanics);
    connect(&m_watch, &QTimer::timeout, this, &BenchSession::placeMechanics);
    m_watch.start(kWatchPeriod);
}

void BenchSession::placeMechanics() {
    QTabWidget& tabs = *m_window.ui.tabWidget;
    const int box = tabs.indexOf(m_window.ui.tab_10);
    if (box <= tabs.currentIndex() || tabs.indexOf(m_window.ui.tab_8) >= 0 || !m_window.manufMode
        || !m_window.modelLine().mechanicalTests)
        return;
    for (const char* title : {"Test Capstan", "Test Friction"}) {
        const Tab& row = *findTab(title);
        tabs.insertTab(box, m_window.ui.*row.page, row.picture(), row.title);
    }
}

void BenchSession::sayWhereFlowEnds() {
    const QString end = flowEndsHere(m_window);
    if (end.isEmpty())
        return;
    auto& ui = m_window.ui;
    QTextBrowser* const box =
        ui.tabWidget->currentWidget() == ui.tab_2 ? ui.calibrate_textbrowser2 : ui.encoderStatus_help_textBox;
    box->append(end);
}

void BenchSession::insistOnReport() {
    auto& ui = m_window.ui;
    const bool summary = ui.tabWidget->currentWidget() == ui.tab_12 && m_window.csTharlenID >= 0;
    // By what the page says: the file may be another program's by now.
    const bool due = summary && !ui.summary_text_browser->toPlainText().startsWith("Successfully");
    if (due && m_insist.isActive() && m_window.createTestReport() != 0)
        m_insist.stop();
    else if (due && !m_insist.isActive()) {
        ui.summary_text_browser->append(
            "The report could not be written; the line below, under Errors, says why. It is tried again every three "
            "seconds. Make room or mend the folder before you close the window: the verdicts are in no other place.");
        m_insist.start(kInsistPeriod);
    } else if (!due) {
        m_insist.stop();
    }
}

// The mode tab still offers the user mode, and there is no way back from it but a new start.
void BenchSession::tellMode() {
    const bool left = !m_window.manufMode;
    m_window.setWindowTitle(QString("Nolva Diagnostic - %1").arg(left ? "User mode" : m_flow.title));
    if (left)
        m_window.ui.mode_status->append(
            QString("\"%1\" was left. Close the window to choose it again.").arg(m_flow.title));
}

Kept BenchSession::kept() const {
    const auto& ui = m_window.ui;
    Kept kept;
    kept.operatorName = ui.lineEdit_name->text();
    kept.flow = m_flow.word;
    kept.mechanics = m_mechanics;
    if (m_window.csTharlenID >= 0)
        kept.device =
            QString("%1, model %2, serial number %3")
                .arg(ui.m_cmbTHARLeN->currentText(), ui.tharlenModel_lineedit->text(), ui.hardwareSerial_label->text());
    const QString report = stampOf(reportFile());
    if (report != m_reportBefore && !report.isEmpty())
        kept.reportTime = reportTime();
    return kept;
}
