// The worker thread's life: start, idle, stop.
#include "qthapticsthread.h"

// An object that has a thread of its own cannot have a parent elsewhere, so the parent is left out.
qtHapticsThread::qtHapticsThread(QObject*) { moveToThread(this); }

qtHapticsThread::~qtHapticsThread() {
    quit();
    wait();
}

void qtHapticsThread::changeTharlenInstance(int id) { cs_DeviceID = id; }

void qtHapticsThread::run() {
    QTimer timer;
    servoTimer = &timer;
    connect(&timer, &QTimer::timeout, this, &qtHapticsThread::runHapticsLoop);
    timer.start();  // no period: on each turn of the event loop
    exec();
    servoTimer = nullptr;
}

void qtHapticsThread::stop() {
    if (QThread::currentThread() != this) {
        QMetaObject::invokeMethod(this, "stop", Qt::QueuedConnection);
        return;
    }
    servoTimer->stop();
    quit();
}

// Empty on purpose: device traffic runs in the library's servo callback.
void qtHapticsThread::runHapticsLoop() {}
