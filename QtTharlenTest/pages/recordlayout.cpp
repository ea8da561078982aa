// See recordlayout.h.
#include "recordlayout.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QTextBlock>
#include <QTextDocument>
#include <QTextLayout>
#include <algorithm>
#include <cmath>

namespace {

constexpr double kUnbounded = 1e6;  // pixels, of a line that does not wrap

/// What of a selection lies in the block.
QVector<QTextLayout::FormatRange> selectedIn(const QTextBlock& block,
                                             const QAbstractTextDocumentLayout::PaintContext& context) {
    QVector<QTextLayout::FormatRange> ranges;
    for (const auto& selection : context.selections) {
        const int start = std::max(selection.cursor.selectionStart() - block.position(), 0);
        const int end = std::min(selection.cursor.selectionEnd() - block.position(), block.length());
        if (start < end)
            ranges.push_back({start, end - start, selection.format});
    }
    return ranges;
}

}  // namespace

RecordLayout::RecordLayout(QTextDocument* document) : QAbstractTextDocumentLayout(document) { takeFont(); }

void RecordLayout::takeFont() {
    m_font = document()->defaultFont();
    m_lineHeight = std::ceil(QFontMetricsF(m_font, paintDevice()).lineSpacing());
}

void RecordLayout::lay(QTextLayout& layout) const {
    QTextOption option = document()->defaultTextOption();
    option.setWrapMode(QTextOption::NoWrap);
    layout.setTextOption(option);
    layout.setFont(m_font);
    layout.beginLayout();
    layout.createLine().setLineWidth(kUnbounded);
    layout.endLayout();
}

int RecordLayout::numberAt(double y) const {
    const double line = std::floor((y - document()->documentMargin()) / m_lineHeight);
    return static_cast<int>(std::clamp(line, 0.0, document()->blockCount() - 1.0));
}

void RecordLayout::draw(QPainter* painter, const PaintContext& context) {
    const double margin = document()->documentMargin();
    const QRectF clip = context.clip.isValid() ? context.clip : QRectF(QPointF(), documentSize());
    painter->setPen(context.palette.color(QPalette::Text));
    QTextBlock block = document()->findBlockByNumber(numberAt(clip.top()));
    for (int last = numberAt(clip.bottom()); block.isValid() && block.blockNumber() <= last; block = block.next()) {
        QTextLayout line(block.text());
        lay(line);
        // Fractions of a pixel are held in few bits: far down, the painter is moved and not the line.
        painter->save();
        painter->translate(margin, margin + m_lineHeight * block.blockNumber());
        line.draw(painter, QPointF(), selectedIn(block, context));
        painter->restore();
    }
}

int RecordLayout::hitTest(const QPointF& point, Qt::HitTestAccuracy accuracy) const {
    const double margin = document()->documentMargin(), x = point.x() - margin;
    const QTextBlock block = document()->findBlockByNumber(numberAt(point.y()));
    QTextLayout line(block.text());
    lay(line);
    const bool outside = x < 0 || x > line.lineAt(0).naturalTextWidth() || point.y() < margin
                         || point.y() >= margin + m_lineHeight * document()->blockCount();
    if (accuracy == Qt::ExactHit && outside)
        return -1;
    return block.position() + line.lineAt(0).xToCursor(x);
}

QSizeF RecordLayout::documentSize() const {
    const double margins = 2 * document()->documentMargin();
    return {margins + m_width, margins + m_lineHeight * document()->blockCount()};
}

QRectF RecordLayout::frameBoundingRect(QTextFrame*) const { return {QPointF(), documentSize()}; }

QRectF RecordLayout::blockBoundingRect(const QTextBlock& block) const {
    if (!block.isValid())
        return {};
    if (block.layout()->lineCount() == 0)
        lay(*block.layout());
    const double margin = document()->documentMargin();
    return {margin, margin + m_lineHeight * block.blockNumber(), m_width, m_lineHeight};
}

void RecordLayout::documentChanged(int from, int removed, int added) {
    // Another width of the browser comes as a change of the whole text, which it is not to lines that do not wrap.
    const bool otherFont = m_font != document()->defaultFont(), otherPage = m_pageSize != document()->pageSize();
    m_pageSize = document()->pageSize();
    if (otherPage && !otherFont && removed == 0 && m_blocks == document()->blockCount())
        return;
    if (otherFont)
        takeFont();
    const QTextBlock first = document()->findBlock(from);
    if (otherFont || m_blocks > document()->blockCount())
        m_longest = 0, m_width = 0;
    m_blocks = document()->blockCount();
    for (QTextBlock block = first; block.isValid() && block.position() <= from + added; block = block.next()) {
        block.clearLayout();
        if (block.length() <= m_longest)
            continue;
        QTextLayout line(block.text());
        lay(line);
        m_longest = block.length();
        m_width = std::max(m_width, line.lineAt(0).naturalTextWidth());
    }
    const QSizeF size = documentSize();
    emit documentSizeChanged(size);
    const double top = document()->documentMargin() + m_lineHeight * first.blockNumber();
    emit update(QRectF(0, top, kUnbounded, std::max(size.height() - top, m_lineHeight)));
}
