#include "datetext.h"

#include <QLocale>
#include <QString>
#include <array>
#include <cstring>
#include <string>
#include <string_view>

namespace {

/// Names and digits of the locale, looked up once; QLocale is not asked on the servo thread.
struct Names {
    std::array<std::string, 12> months;
    std::array<std::string, 10> digits;
    std::string am, pm;

    Names() {
        tzset();  // here and not on the servo thread, where it would read a file
        const QLocale locale = QLocale::system();
        for (int month = 0; month < 12; ++month)
            months[month] = locale.monthName(month + 1).toUtf8().toStdString();
        for (ushort digit = 0; digit < 10; ++digit)
            digits[digit] = QString(QChar(ushort(locale.zeroDigit().unicode() + digit))).toUtf8().toStdString();
        am = locale.amText().toUpper().toUtf8().toStdString();
        pm = locale.pmText().toUpper().toUtf8().toStdString();
    }
};

const Names names;

/// Appends whole pieces to a text of kDateTextSize bytes; one that has no room is left out.
struct Writer {
    char* text;
    std::size_t length = 0;

    void write(std::string_view piece) {
        if (length + piece.size() >= kDateTextSize)
            return;
        std::memcpy(text + length, piece.data(), piece.size());
        length += piece.size();
    }
    void number(int value, int width) {
        for (int place = width == 4 ? 1000 : 10; place > 0; place /= 10)
            write(names.digits[value / place % 10]);
    }
};

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
    Writer writer{text};
    writer.write(names.months[calendar.tm_mon]);
    writer.write("-");
    writer.number(calendar.tm_mday, 2);
    writer.write("-");
    writer.number(calendar.tm_year + 1900, 4);
    writer.write("  ");
    for (const int part : {hour, calendar.tm_min, static_cast<int>(time - minuteStart)}) {
        writer.number(part, 2);
        writer.write("-");
    }
    writer.write(calendar.tm_hour < 12 ? names.am : names.pm);
    text[writer.length] = '\0';
    return writer.length;
}
