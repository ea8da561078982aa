#include "startdialog.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QFile>
#include <QFontDatabase>
#include <QFrame>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>
#include <algorithm>

#include "qttharlentest.h"

namespace {

constexpr int kLongestPause = 60;  ///< s
constexpr int kLeastWidth = 560;
constexpr qint64 kLargestReport = 1024 * 1024;

QLabel* wrapped(const QString& text, int indent = 0) {
    auto* const label = new QLabel(text);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    label->setContentsMargins(indent, 0, 0, 0);
    return label;
}

}  // namespace

StartDialog::StartDialog(qtTharlenTest& window, const Kept& kept, QWidget* parent)
    : QDialog(parent),
      m_window(window),
      m_mechanics(new QCheckBox("With &friction and capstan, on an Orda")),
      m_ends(wrapped(whereFlowsEnd())),
      m_word(new QLineEdit),
      m_answer(wrapped({})),
      m_reportTime(kept.reportTime) {
    setWindowTitle("Nolva Diagnostic - next device");
    setAttribute(Qt::WA_QuitOnClose, false);  // the window comes after it
    auto* const rows = new QVBoxLayout(this);
    if (QWidget* const before = deviceBefore(kept))
        rows->addWidget(before);
    rows->addWidget(flowRows(kept));
    rows->addWidget(wordRow());
    auto* const buttons = new QDialogButtonBox;
    m_start = buttons->addButton("&Start", QDialogButtonBox::AcceptRole);
    m_start->setObjectName("start");
    buttons->addButton("&Quit", QDialogButtonBox::RejectRole);
    rows->addWidget(buttons);
    connect(buttons, &QDialogButtonBox::accepted, this, &StartDialog::start);
    connect(buttons, &QDialogButtonBox::rejected, this, &StartDialog::reject);
    connect(&m_pause, &QTimer::timeout, this, &StartDialog::waitOn);
    m_start->setDefault(true);
    m_word->setFocus();
    // A wrapped text is given less than it needs otherwise: a layout asks for its height at a width of its own.
    setMinimumSize(kLeastWidth, rows->totalHeightForWidth(kLeastWidth));
    chooseFlow();
}

QWidget* StartDialog::deviceBefore(const Kept& kept) {
    if (kept.device.isEmpty() && kept.ended.isEmpty())
        return nullptr;
    auto* const box = new QGroupBox("The device before");
    auto* const rows = new QVBoxLayout(box);
    if (!kept.device.isEmpty())
        rows->addWidget(wrapped(kept.device));
    if (!kept.ended.isEmpty())
        rows->addWidget(wrapped(kept.ended));
    if (kept.reportTime.isEmpty()) {
        rows->addWidget(wrapped(kept.ended.isEmpty()
                                    ? QString("No report was written.")
                                    : "Whether it wrote a report is not known; look into " + reportFile() + "."));
        return box;
    }
    rows->addWidget(wrapped(QString("Its report was written at %1 to %2. The next report replaces it.")
                                .arg(kept.reportTime, reportFile())));
    auto* const show = new QPushButton("Show &Report");
    connect(show, &QPushButton::clicked, this, &StartDialog::showReport);
    rows->addWidget(show, 0, Qt::AlignLeft);
    return box;
}

QWidget* StartDialog::flowRows(const Kept& kept) {
    auto* const box = new QGroupBox("The next device");
    auto* const rows = new QVBoxLayout(box);
    for (const Flow& flow : Flow::all) {
        auto* const row = new QRadioButton(flow.title);
        row->setObjectName(flow.word);
        row->setChecked(&flow == &findFlow(kept.flow));
        row->setAccessibleDescription(flow.motors);
        connect(row, &QRadioButton::toggled, this, &StartDialog::chooseFlow);
        rows->addWidget(row);
        rows->addWidget(wrapped(flow.motors, 24));
        m_flows.push_back(row);
    }
    m_mechanics->setObjectName("mechanics");
    m_mechanics->setChecked(kept.mechanics);
    m_mechanics->setToolTip(
        "\"Test Friction\" and \"Test Capstan\" come before \"Box Test\". The motors push each axis "
        "by themselves, up to its stops.");
    rows->addSpacing(8);
    rows->addWidget(m_mechanics);
    rows->addWidget(m_ends);
    return box;
}

QWidget* StartDialog::wordRow() {
    auto* const box = new QWidget;
    auto* const rows = new QVBoxLayout(box);
    rows->setContentsMargins(0, 0, 0, 0);
    auto* const caption = new QLabel("&Password of the advanced modes");
    caption->setBuddy(m_word);
    m_word->setObjectName("word");
    m_answer->setObjectName("answer");
    m_word->setEchoMode(QLineEdit::Password);
    m_word->setAccessibleName("Password of the advanced modes");
    m_answer->setMinimumHeight(3 * fontMetrics().lineSpacing());
    m_answer->setAlignment(Qt::AlignTop);
    for (QWidget* const row :
         {static_cast<QWidget*>(caption), static_cast<QWidget*>(m_word), static_cast<QWidget*>(m_answer)})
        rows->addWidget(row);
    return box;
}

const Flow& StartDialog::flow() const {
    const auto chosen =
        std::find_if(m_flows.begin(), m_flows.end(), [](const QRadioButton* row) { return row->isChecked(); });
    return Flow::all[static_cast<std::size_t>(chosen - m_flows.begin()) % Flow::all.size()];
}

bool StartDialog::mechanics() const { return m_mechanics->isChecked() && flow().manufacturing; }

void StartDialog::chooseFlow() {
    m_mechanics->setEnabled(flow().manufacturing);
    m_ends->setEnabled(flow().manufacturing);
}

int StartDialog::pauseAfter(int wrongWords) {
    return wrongWords < 3 ? 0 : std::min(kLongestPause, 2 << std::min(wrongWords - 3, 8));
}

// The gate is the window's own, and so is its answer. It takes the word from the form, which does not keep it.
void StartDialog::start() {
    if (m_pauseLeft > 0)
        return;
    flow().prepareGate();
    auto& ui = m_window.ui;
    ui.manuf_radioButton->setChecked(true);
    ui.manuf_password->setText(m_word->text());
    m_window.onTestModeSelection();
    const bool open = ui.next_button->isEnabled();
    const bool asked = !m_word->text().isEmpty();
    ui.manuf_password->clear();
    m_word->clear();
    if (open) {
        accept();
        return;
    }
    m_answer->setText(ui.mode_status->toPlainText().trimmed());
    m_word->setFocus();
    m_wrongWords += asked;
    m_pauseLeft = asked ? pauseAfter(m_wrongWords) : 0;
    if (m_pauseLeft > 0) {
        m_word->setEnabled(false);
        m_start->setEnabled(false);
        ++m_pauseLeft;
        waitOn();
        m_pause.start(1000);
    }
}

void StartDialog::waitOn() {
    const QString answer = m_window.ui.mode_status->toPlainText().trimmed();
    if (--m_pauseLeft > 0) {
        m_answer->setText(QString("%1\nThe next try in %2 s.").arg(answer).arg(m_pauseLeft));
        return;
    }
    m_pause.stop();
    m_answer->setText(answer);
    m_word->setEnabled(true);
    m_start->setEnabled(true);
    m_word->setFocus();
}

void StartDialog::showReport() {
    QFile file(reportFile());
    QString text;
    if (!file.open(QIODevice::ReadOnly))
        text = QString("%1 cannot be read: %2").arg(reportFile(), file.errorString());
    else if (reportTime() != m_reportTime)
        text = QString("Another report has replaced that of the device before, at %1.").arg(reportTime());
    else
        text = QString::fromUtf8(file.read(kLargestReport));
    QDialog shown(this);
    shown.setWindowTitle("Report of the device before");
    auto* const rows = new QVBoxLayout(&shown);
    auto* const page = new QPlainTextEdit(text);
    page->setReadOnly(true);
    page->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    rows->addWidget(page);
    auto* const buttons = new QDialogButtonBox(QDialogButtonBox::Close);
    connect(buttons, &QDialogButtonBox::rejected, &shown, &QDialog::reject);
    rows->addWidget(buttons);
    shown.resize(760, 640);
    shown.exec();
}
