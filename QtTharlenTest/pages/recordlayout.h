// How a record of millions of short lines is laid out. Graphical thread.
#pragma once

#include <QAbstractTextDocumentLayout>

/// Lines of equal height that do not wrap, in the document's default font: a line's place follows from its number, so
/// that one more costs the same after an hour as at the start, and no line keeps what it was laid out to. The toolkit's
/// own layout goes by two pages of lines at each new one, keeps half a kilobyte of each, and its coordinates end at 33
/// million pixels, two million lines. Of the text's format it shows nothing.
class RecordLayout : public QAbstractTextDocumentLayout {
public:
    /// To be given to QTextDocument::setDocumentLayout(), which owns it then.
    explicit RecordLayout(QTextDocument* document);

    void draw(QPainter* painter, const PaintContext& context) override;
    int hitTest(const QPointF& point, Qt::HitTestAccuracy accuracy) const override;
    int pageCount() const override { return 1; }
    /// In pixels, the margin of the document around it. As wide as the line of most characters.
    QSizeF documentSize() const override;
    QRectF frameBoundingRect(QTextFrame* frame) const override;
    /// Lays the block out where it is not: whoever moves a cursor or selects looks for lines there.
    QRectF blockBoundingRect(const QTextBlock& block) const override;

protected:
    void documentChanged(int from, int removed, int added) override;

private:
    void lay(QTextLayout& layout) const;
    void takeFont();
    int numberAt(double y) const;

    QFont m_font;
    QSizeF m_pageSize;
    double m_lineHeight = 1.0, m_width = 0.0;  // pixels
    int m_longest = 0, m_blocks = 0;           // characters, lines
};
