// Texts that come from a device, an operator or a path: shown as they are written, whatever they look like.
#pragma once

#include <QString>
#include <QTextEdit>

#include "oneline.h"

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
