// What the force test shows once a second: temperatures, commands, encoders and position.
#include <QPalette>
#include <array>
#include <cmath>

#include "modellines.h"
#include "qttharlentest.h"
#include "restyle.h"
#include "servostate.h"
#include "testforces.h"
#include "torquestoforce.h"

namespace {

constexpr float kHot = 1.0f;  ///< on the normalised scale

/// Green below 60 degrees Celsius, yellow from there, red from 100.
QColor temperatureColour(float degrees) {
    if (degrees < 60.0f)
        return QColor(0, 255, 0);
    return degrees < 100.0f ? QColor(255, 255, 0) : QColor(255, 0, 0);
}

}  // namespace

// --- Temperatures ----------------------------------------------------------------------------------

/// As many axes as there are labels.
static void showTemperatures(qtTharlenTest& window, std::initializer_list<QLabel*> labels) {
    int axis = 0;
    for (QLabel* label : labels) {
        if (!(window.motorTemp[axis] <= 0.0f) || !std::isfinite(window.motorTempinDegrees[axis]))
            showText(label, QString::number(static_cast<double>(window.motorTempinDegrees[axis]), 'g', 3));
        ++axis;
    }
}

static void showEncoderTestTemperatures(qtTharlenTest& window) {
    auto& ui = window.ui;
    QLCDNumber* const displays[3] = {ui.EncoderTestLCD_X, ui.EncoderTestLCD_Y, ui.EncoderTestLCD_Z};
    for (int axis = 0; axis < 3; ++axis) {
        const float degrees = window.motorTempinDegrees[axis];
        // The display has no letters for "nan".
        displays[axis]->display(std::isfinite(degrees) ? QString::number(static_cast<double>(degrees), 'f', 1) : "Err");
        const QColor colour = temperatureColour(degrees);
        QPalette palette = displays[axis]->palette();
        if (palette.color(QPalette::Active, QPalette::WindowText) == colour)
            continue;
        palette.setColor(QPalette::WindowText, colour);
        displays[axis]->setPalette(palette);
    }
}

// One line for each hot axis and tick; forces are not cut here, the device protects itself. A temperature that is no
// number counts as hot and is shown as what it is.
void qtTharlenTest::monitorTemperature() {
    get_tharlen_temp_6dof(csTharlenID, motorTempinDegrees);
    get_tharlen_temp_normalized_6dof(csTharlenID, motorTemp);
    if (performanceTestMode)
        showTemperatures(*this, {ui.label_65, ui.label_66, ui.label_67});
    else
        showTemperatures(*this, {ui.temp_X, ui.temp_Y, ui.temp_Z, ui.temp_TX, ui.temp_TY, ui.temp_TZ});
    for (int axis = 0; axis < 6; ++axis) {
        if (!(motorTemp[axis] < kHot) || !std::isfinite(motorTempinDegrees[axis]))
            ui.forces_textBox->append("Motors are hot..Please wait until they cool down");
    }
    if (startEncoderTest)
        showEncoderTestTemperatures(*this);
}

// --- Forces and read-outs --------------------------------------------------------------------------

/// DAC counts for a mN m of motor torque, by the line or else the size (three characters of the model string); 0 for a
/// device that has neither, whose torques then are 0.
static float dacToMotorTorque(const qtTharlenTest& window, const QString& modelText) {
    const float ofLine = window.modelLine().dacPerMilliNm;
    if (ofLine != 0.0f)
        return ofLine;
    for (const StelmarSize& size : kStelmarSizes) {
        if (QString::localeAwareCompare(modelText, QLatin1String(size.text)) == 0)
            return size.dacPerMilliNm;
    }
    return 0.0f;
}

/// The force at the endpoint that the commands mean, N. No read-out shows it. A singular Jacobian gives no force.
static void composeForceText(qtTharlenTest& window) {
    const QString modelText = QString::fromLatin1(get_tharlen_model_type(window.csTharlenID)).mid(16, 3);
    const float perTorque = dacToMotorTorque(window, modelText);
    const CTHARLeNDevice* record = window.selectedDevice();
    float redRatio[6] = {};
    if (record && perTorque != 0.0f) {
        redRatio[0] = static_cast<float>(record->m_dR1);
        redRatio[1] = static_cast<float>(record->m_dR2);
        redRatio[2] = static_cast<float>(record->m_dR3);
        if (window.isCorvale())
            redRatio[3] = static_cast<float>(record->m_dR4);
    }
    double jacobian[6][6] = {};
    get_tharlen_jacobian(window.csTharlenID, jacobian);
    float jointTorque[6] = {};
    for (int i = 0; i < 6; ++i) {
        const float motorTorque = perTorque != 0.0f ? static_cast<float>(window.force_dac_values[i]) / perTorque : 0.0f;
        jointTorque[i] = redRatio[i] != 0.0f ? motorTorque / redRatio[i] : 0.0f;
    }
    float forceCartesian[6] = {};
    try {
        math::matrix<float> forceMatrix = transformTorquesToForce(jacobian, jointTorque);
        for (std::size_t i = 0; i < 6; ++i)
            forceCartesian[i] = forceMatrix(i, 0);
    } catch (const math::matrix_error&) {
        for (float& force : forceCartesian)
            force = 0;
    }
    for (int i = 0; i < 6; ++i)
        window.m_forceSentStr[i] = QString::number(static_cast<double>(forceCartesian[i]), 'f', 2);
    window.csText = QString::asprintf("Force (N):\t%2.2f \t%2.2f \t%2.2f ", static_cast<double>(forceCartesian[0]),
                                      static_cast<double>(forceCartesian[1]), static_cast<double>(forceCartesian[2]));
}

static void showEncodersAndPosition(qtTharlenTest& window) {
    auto& ui = window.ui;
    long encoders[6] = {};
    float position[3] = {};
    get_encoder_values(window.csTharlenID, encoders);
    get_tharlen_pos(window.csTharlenID, position);
    QLabel* const encoderLabels[3] = {ui.label_103, ui.label_104, ui.label_105};
    QLabel* const positionLabels[3] = {ui.label_106, ui.label_107, ui.label_108};
    for (int axis = 0; axis < 3; ++axis) {
        showText(encoderLabels[axis], QString::number(static_cast<int>(encoders[axis])));
        showText(positionLabels[axis], QString::number(static_cast<double>(position[axis])));
    }
}

// The labels carry DAC counts, not newtons; checkForcePass reads them back.
void qtTharlenTest::updateForceDisplay() {
    composeForceText(*this);
    showCommands(*this);
    showEncodersAndPosition(*this);
    watchInkwell(*this);
}

void showCommands(qtTharlenTest& window) {
    auto& ui = window.ui;
    QLabel* const labels[6] = {ui.force_x, ui.force_y, ui.force_z, ui.force_gx, ui.force_gy, ui.force_gz};
    for (int i = 0; i < 6; ++i) {
        window.m_motorDACStr[i] = QString::number(static_cast<long>(window.force_dac_values[i]));
        showText(labels[i], window.m_motorDACStr[i]);
    }
}
