// Device errors on their way from the servo thread to the error browser.
#include <QDateTime>
#include <ctime>

#include "datetext.h"
#include "plaintext.h"
#include "qttharlentest.h"
#include "servostate.h"

namespace {

struct ErrorText {
    int code;
    const char* text;
};

// Meant: the three communication errors read the same, and the set-ups of drivers and port name two driver packages.
constexpr ErrorText kErrorTexts[] = {
    {kDriverSetup,
     "Setup Error: Try unplugging and replugging in the device.\n"
     "Consult the Nolva Device Drivers documentation."},
    {kCommunicationErrorLan, "Communication Error: Check the Device connection and Setup."},
    {kAdapterSetup, "Setup Error: Check the base address and adapter number."},
    {kParallelPortSetup,
     "Setup Error: Check the Parallel Port EPP/ECP settings.\n"
     "Consult the THARLeN Device Drivers documentation."},
    {kCommunicationErrorUsb, "Communication Error: Check the Device connection and Setup."},
    {kMaxVelocityExceeded, "Device Warning: Device exceeded max velocity."},
    {kCommunicationError, "Communication Error: Check the Device connection and Setup."},
    {kDeviceFault,
     "Device Fault: Check that the remote switch is enabled\n"
     "and/or Device is connected properly."},
    {kMaxForceExceeded, "Device Warning: Maximum force exceeded on the haptic device."},
    {kMotorsWarm,
     "Device Warning: One or more of the Device motors are warm.\n"
     "Please wait until they are cool to the touch."},
};

constexpr int kMostAccumulatedErrors = 1000;

/// Beginning and end of a long text: a path is told by both, and the reason comes last.
QString shortened(const QString& text) {
    constexpr int kMostShown = 200;  ///< characters
    return text.size() <= kMostShown ? text : text.left(kMostShown / 2) + "..." + text.right(kMostShown / 2 - 3);
}

const char* errorText(int code) {
    for (const ErrorText& error : kErrorTexts) {
        if (error.code == code)
            return error.text;
    }
    return nullptr;
}

}  // namespace

// In spite of the name a new error replaces the last one. The date is made on every call and outside the
// lock; only an error itself builds a string.
void qtTharlenTest::accumulateErrors(int nErr) {
    char date[kDateTextSize];
    const std::size_t length = dateText(std::time(nullptr), date);
    const ErrorMessageLock lock;
    const char* text = errorText(nErr);
    if (!text)
        return;
    errorMessage = QString::fromUtf8(date, static_cast<int>(length)) + " : " + text;
    ++numAccumErrors;
}

// The message is not emptied after it was shown: one error is shown again twice a second until something
// clears it, and while there is none an empty line is.
// The widget is touched once the lock is free again: a tick never waits for a layout, nor for a hundred thousand lines
// that are cleared.
void qtTharlenTest::displayError() {
    QString line;
    bool tooMany;
    {
        const ErrorMessageLock lock;
        tooMany = numAccumErrors > kMostAccumulatedErrors;
        if (tooMany) {
            errorMessage.clear();
            numAccumErrors = 0;
        }
        line = errorMessage;
    }
    if (tooMany)
        ui.error_browser->clear();
    appendPlain(ui.error_browser, line);
}

void qtTharlenTest::clearErrorBrowser() {
    {
        const ErrorMessageLock lock;
        errorMessage.clear();
    }
    ui.error_browser->clear();
}

// A text that comes again at once, as from a timer's slot, is not said again within a second.
static QString errorLine(qtTharlenTest& window, const QString& text) {
    if (text == window.m_lastSaid && window.m_sinceLastSaid.isValid() && !window.m_sinceLastSaid.hasExpired(1000))
        return {};
    window.m_lastSaid = text;
    window.m_sinceLastSaid.start();
    char date[kDateTextSize];
    const std::size_t length = dateText(std::time(nullptr), date);
    return QString::fromUtf8(date, static_cast<int>(length)) + " : " + shortened(oneLine(text));
}

void qtTharlenTest::sayError(const QString& text) {
    const QString line = errorLine(*this, text);
    if (!line.isEmpty())
        appendPlain(ui.error_browser, line);
}

void qtTharlenTest::keepError(const QString& text) {
    const QString line = errorLine(*this, text);
    if (line.isEmpty())
        return;
    {
        const ErrorMessageLock lock;
        errorMessage = line;
    }
    displayError();
}

void qtTharlenTest::displayDateTime() {
    // The date goes nowhere: currentDateTime_label stays empty.
    const QString dateAndTime = QDateTime::currentDateTime().toString("MMMM-dd-yyyy  hh:mm:ss:AP");
    Q_UNUSED(dateAndTime)

    QString lines;
    for (const float force : passivityTestForce.copy())
        lines += QString::asprintf("%f  \n", static_cast<double>(force));
    lines += QString::asprintf("%f  \n", static_cast<double>(passivityGain));
    if (ui.passivityTest_browser->toPlainText() != lines)
        ui.passivityTest_browser->setText(lines);

    if (ui.tabWidget->currentIndex() < 1)
        clearErrorBrowser();
    else if (csTharlenID < 0)
        accumulateErrors(kCommunicationError);
}
