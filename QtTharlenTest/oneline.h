// Texts that come from a device or an operator, as a line of a file or a read-out.
#pragma once

#include <QString>

/// One line: whatever ends a line or controls a printer becomes a blank. A tab stays.
inline QString oneLine(QString text) {
    for (QChar& character : text) {
        const QChar::Category kind = character.category();
        const bool control = kind == QChar::Other_Control && character != '\t';
        if (control || kind == QChar::Separator_Line || kind == QChar::Separator_Paragraph)
            character = ' ';
    }
    return text;
}
