#include "driverahead.h"

#include <QGuiApplication>

#include <GL/glx.h>  // its macros take names that the toolkit's headers use

DriverAhead::DriverAhead() {
    if (QGuiApplication::platformName() != "xcb")
        return;
    m_thread = std::thread([this] {
        // A connection of its own: nothing is shared with the toolkit's but the driver.
        Display* display = XOpenDisplay(nullptr);
        m_display = display;
        int count = 0;
        if (display && glXQueryExtension(display, nullptr, nullptr))
            if (GLXFBConfig* configs = glXChooseFBConfig(display, DefaultScreen(display), nullptr, &count))
                XFree(configs);
    });
}

DriverAhead::~DriverAhead() {
    if (m_thread.joinable())
        m_thread.join();
    if (m_display)
        XCloseDisplay(static_cast<Display*>(m_display));
}
