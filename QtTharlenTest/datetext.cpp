#include "datetext.h"

#include <QLocale>
#include <QString>
#include <array>
#include <cstdio>
#include <string>

namespace {

/// Names of the locale, looked up once; QLocale is not asked on the servo thread.
struct Names {
    std::array<std::string, 12> months;
    std::string am, pm;

    Names() {
        tzset();  // here and not on the servo thread, where it would read a file
        const QLocale locale = QLocale::system();
        for (int month = 0; month < 12; ++month)
            months[month] = locale.monthName(month + 1).toUtf8().toStdString();
        am = locale.amText().toUpper().toUtf8().toStdString();
        pm = locale.pmText().toUpper().toUtf8().toStdString();
    }
};

const Names names;

}  // namespace

std::size_t dateText(std::time_t time, char* text) {
    // No time zone shifts within a minute, so the broken-down time is good until the minute is over.
    thread_local std::time_t minuteStart = -1;
    thread_local std::tm calendar{};
    if (minuteStart < 0 || time < minuteStart || time >= minuteStart + 60) {
        localtime_r(&time, &calendar);
        minuteStart = time - calendar.tm_sec;
    }
    const int hour = calendar.tm_hour % 12 == 0 ? 12 : calendar.tm_hour % 12;
    const std::string& half = calendar.tm_hour < 12 ? names.am : names.pm;
    const int length = std::snprintf(text, kDateTextSize, "%s-%02d-%04d  %02d-%02d-%02d-%s",
                                     names.months[calendar.tm_mon].c_str(), calendar.tm_mday,
                                     calendar.tm_year + 1900, hour, calendar.tm_min,
                                     static_cast<int>(time - minuteStart), half.c_str());
    return length < 0 ? 0 : std::min<std::size_t>(length, kDateTextSize - 1);
}
