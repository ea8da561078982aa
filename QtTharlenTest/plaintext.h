// Texts that come from a device, an operator or a path: shown as they are written, whatever they look like.
#pragma once

#include <QString>
#include <QTextEdit>

/// QTextEdit::append, which takes a text for markup where it looks like it.
inline void appendPlain(QTextEdit* box, const QString& text) {
    if (!Qt::mightBeRichText(text)) {
        box->append(text);
        return;
    }
    box->append(QString());  // a paragraph of its own
    QTextCursor end(box->document());
    end.movePosition(QTextCursor::End);
    end.insertText(text);
    box->ensureCursorVisible();
}

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
