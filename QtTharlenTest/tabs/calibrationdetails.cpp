// The "Calibration Details" tab: what the automatic calibration of a Corvale sees, judged against the width
// limits, and the calibration file's deletion and update.
#include <unistd.h>

#include <cstdio>

#include "modellines.h"
#include "motorsoff.h"
#include "qttharlentest.h"
#include "servostate.h"
#include "tabs.h"

namespace {

constexpr int kDetailPeriod = 20;  ///< ms
constexpr char szValid[] = "valid";
constexpr char szInvalid[] = "invalid";
constexpr char acAxes[] = {'X', 'Y', 'Z'};

bool hasHomeSensors(const ModelLine& line) { return line.calibration == Calibration::HomeSensors; }

/// printf into a text that grows.
template <class... Values>
void print(QString& text, const char* format, Values... values) {
    text += QString::asprintf(format, values...);
}

SENSOR_DATA readSensor(const SENSOR_DATA& shared) {
    return {loadRelaxed(shared.lStart), loadRelaxed(shared.lStop), loadRelaxed(shared.lWidth),
            loadRelaxed(shared.lMidPoint), loadRelaxed(shared.lVelocity)};
}

bool within(const SENSOR_WIDTH_LIMIT& limit, const SENSOR_DATA* data) {
    const int width = static_cast<int>(loadRelaxed(data->lWidth));
    return static_cast<int>(limit.lMinWidth) <= width && width <= static_cast<int>(limit.lMaxWidth);
}

/// A line for a later report, whether the width was seen or not. The middle dot is kept as the two characters of
/// its UTF-8 form.
QString widthText(const char* kind, int index, const SENSOR_WIDTH_LIMIT& limit, const SENSOR_DATA* data) {
    char text[1024];
    const bool flag = kind[0] == 'F';
    if (data)
        std::snprintf(text, sizeof text,
                      flag ? "    ·     Flag %d%6d%6d%6d                      "
                           : "    ·     Gap %d%6d%6d%6d                       ",
                      index, static_cast<int>(limit.lMinWidth), static_cast<int>(loadRelaxed(data->lWidth)),
                      static_cast<int>(limit.lMaxWidth));
    else
        std::snprintf(text, sizeof text, "    ·     %s %d not detected               ", kind, index);
    return QString::fromLatin1(text);
}

}  // namespace

// --- The tab ---------------------------------------------------------------------------------------

void enterCalibrationDetails(qtTharlenTest& window) {
    if (window.csTharlenID >= 0)
        window.onCalibrationDetailTab();
}

// The widths are judged once, at leaving, from the last state of the sensors.
void leaveCalibrationDetails(qtTharlenTest& window) {
    if (!window.calibDetailTimer->isActive())
        return;
    window.verifyFlagGapWidth();
    window.calibDetailTimer->stop();
}

// --- The tab ---------------------------------------------------------------------------------------

void qtTharlenTest::onCalibrationDetailTab() {
    ui.calibFileStatus->clear();
    const bool valid = hasHomeSensors(modelLine());
    ui.calibDetails_textBox1->setEnabled(valid);
    ui.calibDetails_textBox2->setEnabled(valid);
    ui.updateCalib_button->setEnabled(valid);
    ui.loseCalib_button->setEnabled(valid);
    if (!valid) {
        ui.calibDetails_textBox1->clear();
        ui.calibDetails_textBox1->append("This test is not valid for the device selected.");
        ui.calibDetails_textBox1->append("Please move on to the next test.");
        ui.calibDetails_textBox2->clear();
        return;
    }
    // A tab stop that "New calibration:" falls short of and the longer captions pass: so their figures line up.
    const QFontMetrics metrics = ui.calibDetails_textBox1->fontMetrics();
    ui.calibDetails_textBox1->setTabStopDistance(
        0.5 * (metrics.horizontalAdvance("New calibration:") + metrics.horizontalAdvance("Incorrect offsets:")));
    m_pConnection = get_connection_data(csTharlenID);
    m_pCalibration = get_calibration_data(csTharlenID);
    calibDetailTimer->start(kDetailPeriod);
}

void qtTharlenTest::updateCalibrationData() {
    if (!hasHomeSensors(modelLine()))
        return;
    m_nCounter += 1.0f;
    PrepareOutputString1();
    PrepareOutputString2();
}

static void appendSensors(qtTharlenTest& window, QString& text, const char* kind, int axis, SENSOR_TOKEN type) {
    AXIS_SENSOR_DATA& sensors = window.mpSensorData[axis];
    for (int i = 0; i < 3; ++i) {
        const SENSOR_DATA* shared = loadRelaxed(type == FLAG_TOKEN ? sensors.psdFlagData[i] : sensors.psdGapData[i]);
        if (!shared)
            continue;
        const SENSOR_DATA data = readSensor(*shared);
        print(text, "    %s %d: start %d, stop %d, width %d, mid. %d, vel. %d (%s)\r\n", kind, i + 1,
              static_cast<int>(data.lStart), static_cast<int>(data.lStop), static_cast<int>(data.lWidth),
              static_cast<int>(data.lMidPoint), static_cast<int>(data.lVelocity),
              window.isFlagGapValid(&sensors, axis, i, type) ? szValid : szInvalid);
    }
}

/// Copies what the sensors saw into m_rd, which keeps its copies for the window's life.
static void keepSensorData(qtTharlenTest& window) {
    const auto keep = [](SENSOR_DATA*& target, SENSOR_DATA& place, SENSOR_DATA* const& source) {
        const SENSOR_DATA* shared = loadRelaxed(source);
        if (!shared)
            return;
        target = &place;
        place = readSensor(*shared);
    };
    for (int axis = 0; axis < 3; ++axis) {
        window.m_rd.asdData[axis].nFlags = loadRelaxed(window.mpSensorData[axis].nFlags);
        window.m_rd.asdData[axis].nGaps = loadRelaxed(window.mpSensorData[axis].nGaps);
        for (int i = 0; i < 3; ++i) {
            keep(window.m_rd.asdData[axis].psdFlagData[i], window.m_keptFlags[axis][i],
                 window.mpSensorData[axis].psdFlagData[i]);
            keep(window.m_rd.asdData[axis].psdGapData[i], window.m_keptGaps[axis][i],
                 window.mpSensorData[axis].psdGapData[i]);
        }
    }
}

void qtTharlenTest::PrepareOutputString1() {
    if (!m_pCalibration)
        return;
    QString text;
    print(text, "Counter:\t\t%0.2f seconds\r\n", m_nCounter / 50.0);
    text += "Known calibration:\t";
    for (int axis = 0; axis < 3; ++axis)
        print(text, "%d\t", static_cast<int>(m_pCalibration->GetEncoderOffsets(axis)));
    text += "\r\nNew calibration:\t\t";
    for (int axis = 0; axis < 3; ++axis)
        print(text, "%d\t", static_cast<int>(m_pCalibration->GetEncoderOffsetsCalc(axis)));
    text += "\r\nIncorrect offsets:\t";
    for (int axis = 0; axis < 3; ++axis)
        print(text, "%s\t", m_pCalibration->IsEncoderOffsetsIncorrect(axis) == 1 ? "Yes" : "No");
    int status = 0;
    if (get_calibration_status(csTharlenID, &status) < 0)
        status = 0;
    print(text, "\r\nCalibration status:\t0x%02X\r\n\r\n", static_cast<unsigned>(status) & 0xFF);

    mpSensorData = m_pCalibration->GetAxisSensorData();
    for (int axis = 0; axis < 3; ++axis) {
        print(text, "%c axis\r\n", acAxes[axis]);
        print(text, "Found %d flag(s)\r\n", loadRelaxed(mpSensorData[axis].nFlags));
        appendSensors(*this, text, "Flag", axis, FLAG_TOKEN);
        if (axis == 2)
            continue;
        print(text, "Found %d gap(s)\r\n", loadRelaxed(mpSensorData[axis].nGaps));
        appendSensors(*this, text, "Gap", axis, GAP_TOKEN);
        text += "\r\n";
    }
    ui.calibDetails_textBox1->setText(text);
    keepSensorData(*this);
}

// The order of the registers is not the axis order: X is usQuad0, as the names say.
void qtTharlenTest::PrepareOutputString2() {
    if (!m_pConnection)
        return;
    const PORT_INPUT& port = m_pConnection->m_portInput;
    const UCHAR misc = loadRelaxed(port.ucMiscIn);
    const UCHAR speed = loadRelaxed(port.ucSpeedErrs);
    const UCHAR timer = loadRelaxed(port.ucTimerCnt);
    const auto onOff = [misc](int bit) { return misc & bit ? "ON" : "OFF"; };
    const auto okErr = [](int error) { return error ? "ERR" : "OK"; };
    QString text;
    print(text, "X axis home sensor: %s %i\r\n", onOff(kHomeSensor[0]), loadRelaxed(port.usQuad0));
    print(text, "Y axis home sensor: %s %i\r\n", onOff(kHomeSensor[1]), loadRelaxed(port.usQuad1));
    print(text, "Z axis home sensor: %s %i\r\n\r\n", onOff(kHomeSensor[2]), loadRelaxed(port.usQuad2));
    print(text, "Timer counter: 0x%02X (%d)\r\n", timer, timer);
    print(text, "Misc. in byte: 0x%02X\r\n", misc);
    print(text, "Speed errors: 0x%02X\r\n", speed & kOverspeedMask);
    print(text, "      X axis overspeed: %s\r\n", okErr(speed & kOverspeed[0]));
    print(text, "      Y axis overspeed: %s\r\n", okErr(speed & kOverspeed[1]));
    print(text, "      Z axis overspeed: %s\r\n", okErr(speed & kOverspeed[2]));
    print(text, "      Overcurrent: %s\r\n", okErr(misc & kOvercurrent));
    print(text, "Watchdog jumper: %s\r\n", misc & kWatchdogJumper ? "In place" : "Not in place");
    print(text, "Watchdog: %s\r\n\r\n", misc & kWatchdogGood ? "OK" : "ERR");
    print(text, "Hardware revision: 0x%02X\r\n", speed & kRevisionMask);
    ui.calibDetails_textBox2->setText(text);
}

// --- Widths ----------------------------------------------------------------------------------------

BOOL qtTharlenTest::isFlagGapValid(void* pvSensorData, int nAxis, int nToken, SENSOR_TOKEN type) {
    if (nAxis < 0 || nAxis > 2)
        qt_assert("nAxis >= 0 && nAxis <= 2", __FILE__, __LINE__);  // Q_ASSERT is gone from a release build
    const auto* sensors = static_cast<const AXIS_SENSOR_DATA*>(pvSensorData);
    const AXIS_SENSOR_WIDTH_LIMITS& limits = m_cdCorvale.axswlWidthLimits[nAxis];
    const bool flag = type == FLAG_TOKEN;
    if (!flag && (type != GAP_TOKEN || nToken > 1))
        return false;  // there are limits for two gaps
    const SENSOR_WIDTH_LIMIT& limit = flag ? limits.aswlFlagLimits[nToken] : limits.aswlGapLimits[nToken];
    const LONG width =
        loadRelaxed(loadRelaxed(flag ? sensors->psdFlagData[nToken] : sensors->psdGapData[nToken])->lWidth);
    return limit.lMinWidth <= width && width <= limit.lMaxWidth;
}

static void verifyManyFlags(qtTharlenTest& window) {
    int k = 0;
    int m = 0;
    for (int axis = 0; axis < 3; ++axis) {
        const AXIS_SENSOR_WIDTH_LIMITS& limits = window.m_cdCorvale.axswlWidthLimits[axis];
        for (int j = 0; j < (axis == 2 ? 1 : 3); ++j, ++k) {
            const SENSOR_DATA* flag = loadRelaxed(window.mpSensorData[axis].psdFlagData[j]);
            window.bFlagPassRev7[k] = flag && within(limits.aswlFlagLimits[j], flag);
            window.rev7FlagDataString[k] = widthText("Flag", j, limits.aswlFlagLimits[j], flag);
        }
        for (int j = 0; j < (axis == 2 ? 0 : 2); ++j, ++m) {
            const SENSOR_DATA* gap = loadRelaxed(window.mpSensorData[axis].psdGapData[j]);
            window.bGapPass[m] = gap && within(limits.aswlGapLimits[j], gap);
            window.GapDataString[m] = widthText("Gap", j, limits.aswlGapLimits[j], gap);
        }
    }
}

static void verifyOneFlagAnAxis(qtTharlenTest& window) {
    for (int axis = 0; axis < 3; ++axis) {
        const int index = axis == 2 ? 0 : 1;
        const SENSOR_WIDTH_LIMIT& limit = window.m_cdCorvale.axswlWidthLimits[axis].aswlFlagLimits[index];
        const SENSOR_DATA* flag = loadRelaxed(window.mpSensorData[axis].psdFlagData[index]);
        window.bFlagPass[axis] = flag && within(limit, flag);
        window.flagDataString[axis] = widthText("Flag", index, limit, flag);
    }
}

// The verdicts and texts are where a later report line would take them from; nothing reads them.
void qtTharlenTest::verifyFlagGapWidth() {
    if (!hasHomeSensors(modelLine()))
        return;
    m_pCalibration = get_calibration_data(csTharlenID);
    if (!m_pCalibration)
        return;
    mpSensorData = m_pCalibration->GetAxisSensorData();
    const int firmRev = get_hardware_rev(csTharlenID);
    if (hasManyFlags(firmRev))
        verifyManyFlags(*this);
    else
        verifyOneFlagAnAxis(*this);
}

// --- The calibration file --------------------------------------------------------------------------

// The library writes and reads the file; here it is deleted by its path.
void qtTharlenTest::onClickLoseCalibration() {
    if (csTharlenID < 0)
        return;
    usleep(1000);
    isServoLoopRunning();
    const QByteArray home = qgetenv("KNDD_HOME");
    if (!home.isEmpty()) {
        const QByteArray path =
            home + "/config/THARLeN Calibration (" + QFile::encodeName(ui.m_cmbTHARLeN->currentText()) + ")";
        const QString message =
            unlink(path.constData()) == 0 ? "Successfully deleted file :" : "Could not delete calibration file :";
        ui.calibFileStatus->setText(message);
        ui.calibrate_textbrowser2->append(message);
    }
    m_pConnection = get_connection_data(csTharlenID);
    if (!m_pConnection)
        return;
    m_pCalibration = get_calibration_data(csTharlenID);
    if (m_pCalibration)
        m_pCalibration->DiscardCalibration();
    if (isServoLoopRunning()) {
        bResetCalib = true;
        return;
    }
    enable_tharlen_forces(csTharlenID);
    restartLoop(*this);
    bResetCalib = false;
}

// Meant: above zero counts as good here, the opposite of everywhere else. With a library that gives zero on success
// this reports an error though the file was written.
void qtTharlenTest::onClickUpdateCalibration() {
    if (csTharlenID < 0)
        return;
    stopLoop(*this);
    const int uErr = update_calibration(csTharlenID);
    if (uErr > 0)
        ui.calibFileStatus->setText("Updated the calibration.");
    else
        ui.calibFileStatus->setText("Error encountered when updating calibration for "
                                    + ui.m_cmbTHARLeN->currentText());
    restartLoop(*this);
}
