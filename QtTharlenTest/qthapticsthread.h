// A worker thread with an idle loop of its own. Nothing creates it: the servo loop is the device library's.
#pragma once

#include <QThread>
#include <QTimer>

class qtHapticsThread : public QThread {
    Q_OBJECT

public:
    explicit qtHapticsThread(QObject* parent = nullptr);
    /// Ends the thread and waits for it.
    ~qtHapticsThread() override;

    /// Sets the device of the loop. Before the thread starts, or on it.
    void changeTharlenInstance(int id);

    int cs_DeviceID = -1;
    QTimer* servoTimer = nullptr;  ///< belongs to run(), which alone may be alive with it

public slots:
    /// Ends the thread's event loop. From another thread it returns at once, and the end follows.
    void stop();
    void runHapticsLoop();

signals:
    void error();

protected:
    void run() override;
};
