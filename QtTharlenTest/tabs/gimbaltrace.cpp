// The gimbal's recorder on the "Encoder Test" tab: encoders and angles of the three gimbal axes, as text.
#include <QDateTime>

#include "handon.h"
#include "qttharlentest.h"

namespace {

constexpr int kTracePeriod = 30;  ///< ms

/// Meant: with the backslash the file lies beside the folder "logs", under a name that begins with that word.
QString traceFileName() {
    return qEnvironmentVariable("KNDD_HOME", "(null)") + "/logs" + "\\TraceGimbalEncoder_"
           + QDateTime::currentDateTime().toString("MMMM-dd-yyyy  hh-mm-ss-AP") + ".txt";
}

}  // namespace

// Line by line, so that a disk that fills up leaves whole lines: a piece of one is cut off, and the stream writes
// nothing more after its first failure.
static void endGimbalTraceLine(qtTharlenTest& window) {
    window.traceGimbEncStream.flush();
    if (window.traceGimbEncStream.status() == QTextStream::Ok)
        window.m_gimbalTraceEnd = window.traceGimbOutFile->pos();
    else
        window.traceGimbOutFile->resize(window.m_gimbalTraceEnd);
}

// Each run has a file of its own, whose object stays until the window goes.
void qtTharlenTest::initGimbalEncoderTest() {
    handOn(ui.runGimbalEncoderTest_button, ui.stopGimbalEncoderTest_button);
    traceGimbOutFile = new QFile(traceFileName(), this);
    if (!traceGimbOutFile->open(QIODevice::WriteOnly | QIODevice::Text | QIODevice::Unbuffered)) {
        ui.encoderTest_debug->append("Error creating trace file !");
        return;
    }
    traceGimbEncStream.setDevice(traceGimbOutFile);
    m_gimbalTraceEnd = 0;
    ui.encoderTest_debug->append(
        "Move the gimbal axes one by one slowly from one extreme to the other until you hit the stops.");
    traceGimbEncStream << "YAW\tPITCH\tROLL\tANGLE1\tANGLE2\tANGLE3\n";
    endGimbalTraceLine(*this);
    gimbEncTestTimer->start(kTracePeriod);
}

void qtTharlenTest::runGimbalEncoderTest() {
    if (!traceGimbOutFile || !traceGimbOutFile->isOpen())
        return;
    // A stream that failed would keep what it is given, for the next file.
    if (traceGimbEncStream.status() != QTextStream::Ok)
        return;
    long mEncoder[6] = {};
    float jAngle[6] = {};
    get_encoder_values(csTharlenID, mEncoder);
    get_tharlen_joint_angles(csTharlenID, jAngle);
    traceGimbEncStream << mEncoder[3] << '\t' << mEncoder[4] << '\t' << mEncoder[5] << '\t' << jAngle[3] << '\t'
                       << jAngle[4] << '\t' << jAngle[5] << '\n';
    endGimbalTraceLine(*this);
}

void qtTharlenTest::stopGimbalEncoderTest() {
    gimbEncTestTimer->stop();
    handOn(ui.stopGimbalEncoderTest_button, ui.runGimbalEncoderTest_button);
    if (traceGimbOutFile)
        traceGimbOutFile->close();
}
