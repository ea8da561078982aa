// Has the OpenGL driver loaded while the form is built.
#pragma once

#include <thread>

/// Loads the driver of the X display on a thread of its own: a quarter of the start goes into it, and the toolkit asks
/// for it only as the window shows. Needs the application object; without an X display it does nothing. One a process,
/// on the graphical thread, gone after the window; the driver stays loaded meanwhile. What goes wrong here is told by
/// the toolkit when it asks in turn.
class DriverAhead {
public:
    DriverAhead();
    ~DriverAhead();
    DriverAhead(const DriverAhead&) = delete;
    DriverAhead& operator=(const DriverAhead&) = delete;

private:
    void* m_display = nullptr;  // written by the thread alone until it is joined
    std::thread m_thread;
};
