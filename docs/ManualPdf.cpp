// manual-pdf: turns the administrator's manual from Markdown into the PDF that
// the program's Help button opens.
//
//     manual-pdf <input.md> <output.pdf>

#include <QAbstractTextDocumentLayout>
#include <QBrush>
#include <QColor>
#include <QFile>
#include <QFont>
#include <QFontMetricsF>
#include <QGuiApplication>
#include <QList>
#include <QPageLayout>
#include <QPageSize>
#include <QPainter>
#include <QPdfWriter>
#include <QPen>
#include <QSaveFile>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextFrame>
#include <QTextList>
#include <QTextTable>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>

namespace {

const QString DocumentTitle = QStringLiteral("Quillmere Administrator's Manual");
const QString DocumentCreator = QStringLiteral("Quillmere");
const QString BodyFamily = QStringLiteral("DejaVu Sans");
const QString MonoFamily = QStringLiteral("DejaVu Sans Mono");

constexpr qreal BodyPointSize = 10.0;
constexpr qreal MonoPointSize = 9.0;
constexpr qreal FooterPointSize = 8.0;
constexpr int Resolution = 300;
constexpr qreal PageMarginMm = 20.0;
constexpr qreal FooterHeightMm = 10.0;
// Tables up to this share of a page are never split, because Qt splits a row mid-line.
constexpr qreal KeepTogetherFraction = 0.6;
constexpr int ShortParagraphLines = 6;

const QColor HeadingColor(0x1f, 0x3a, 0x5f);
const QColor RuleColor(0xb0, 0xb8, 0xc4);
const QColor TableHeaderBackground(0xe8, 0xed, 0xf3);
const QColor CodeBackground(0xf3, 0xf4, 0xf6);
const QColor FooterColor(0x55, 0x5b, 0x66);

void complain(const QString& message)
{
    std::fprintf(stderr, "manual-pdf: %s\n", qPrintable(message));
}

qreal headingPointSize(int level)
{
    switch (level) {
    case 1: return 26.0;
    case 2: return 16.0;
    case 3: return 12.0;
    default: return 11.0;
    }
}

qreal millimetresToPixels(qreal millimetres)
{
    return millimetres / 25.4 * Resolution;
}

// Selects the text of one block without its paragraph separator, so that merged
// character formats never leak into the following block.
QTextCursor blockCursor(const QTextBlock& block)
{
    QTextCursor cursor(block);
    cursor.setPosition(block.position());
    cursor.setPosition(block.position() + block.length() - 1, QTextCursor::KeepAnchor);
    return cursor;
}

// Rewrites the character format of every fragment of a block through the given
// function; the ranges are collected first because setting formats can rearrange
// the fragments being walked.
template <typename Restyle>
void restyleFragments(const QTextBlock& block, Restyle restyle)
{
    QList<std::pair<QTextCharFormat, std::pair<int, int>>> fragments;
    for (auto it = block.begin(); !it.atEnd(); ++it) {
        const QTextFragment fragment = it.fragment();
        if (fragment.isValid())
            fragments.append({fragment.charFormat(), {fragment.position(), fragment.position() + fragment.length()}});
    }
    for (auto& [format, range] : fragments) {
        if (!restyle(format))
            continue;
        QTextCursor cursor(block);
        cursor.setPosition(range.first);
        cursor.setPosition(range.second, QTextCursor::KeepAnchor);
        cursor.setCharFormat(format);
    }
}

void applyHeadingFont(QTextCharFormat& format, int level)
{
    // The Markdown reader sizes headings with a relative adjustment that outranks an
    // explicit point size, so it has to go before the size below can take effect.
    format.clearProperty(QTextFormat::FontSizeAdjustment);
    format.setFontFamilies(QStringList{format.fontFixedPitch() ? MonoFamily : BodyFamily});
    format.setFontPointSize(headingPointSize(level));
    format.setFontWeight(QFont::Bold);
    format.setForeground(HeadingColor);
}

void styleHeading(const QTextBlock& block, int level, bool firstChapter)
{
    QTextBlockFormat blockFormat = block.blockFormat();
    blockFormat.setTopMargin(level == 1 ? 0.0 : (level == 2 ? 26.0 : 14.0));
    blockFormat.setBottomMargin(level == 1 ? 18.0 : (level == 2 ? 12.0 : 5.0));
    // The title page holds only the introduction and the contents, so the first
    // chapter opens the second page; later chapters flow on, as most are short.
    if (firstChapter)
        blockFormat.setPageBreakPolicy(QTextFormat::PageBreak_AlwaysBefore);
    QTextCursor cursor = blockCursor(block);
    cursor.setBlockFormat(blockFormat);
    QTextCharFormat blockCharFormat = block.charFormat();
    applyHeadingFont(blockCharFormat, level);
    cursor.setBlockCharFormat(blockCharFormat);

    restyleFragments(block, [level](QTextCharFormat& format) {
        applyHeadingFont(format, level);
        return true;
    });
}

void styleBodyBlock(const QTextBlock& block)
{
    QTextBlockFormat blockFormat = block.blockFormat();
    const QTextList* list = block.textList();
    const bool isCode = blockFormat.nonBreakableLines();
    const QTextBlock next = block.next();
    // The last item of a list and the last line of a code block need the paragraph
    // gap that separates them from the text that follows.
    const bool endsGroup = !next.isValid()
        || (list && next.textList() != list)
        || (isCode && !next.blockFormat().nonBreakableLines());
    blockFormat.setTopMargin(0.0);
    blockFormat.setBottomMargin(list || isCode ? (endsGroup ? 8.0 : 2.0) : 7.0);
    blockFormat.setLineHeight(list || isCode ? 100.0 : 115.0, QTextBlockFormat::ProportionalHeight);
    if (isCode) {
        blockFormat.setBackground(CodeBackground);
        blockFormat.setLeftMargin(6.0);
        blockFormat.setBottomMargin(endsGroup ? 8.0 : 0.0);
    }
    blockCursor(block).setBlockFormat(blockFormat);

    // Code spans and code blocks arrive in the system's fixed font; this puts them in
    // the mono face that matches the body text.
    restyleFragments(block, [](QTextCharFormat& format) {
        if (!format.fontFixedPitch())
            return false;
        format.setFontFamilies(QStringList{MonoFamily});
        format.setFontPointSize(MonoPointSize);
        return true;
    });
}

struct ColumnWidths {
    qreal minimum = 0.0;
    qreal maximum = 0.0;
};

// Measures a cell as a browser would: its longest word and its text on one line.
ColumnWidths measureCell(const QTextTableCell& cell, QPaintDevice* device)
{
    ColumnWidths widths;
    for (QTextFrame::iterator it = cell.begin(); !it.atEnd(); ++it) {
        const QTextBlock block = it.currentBlock();
        qreal line = 0.0;
        for (auto fragmentIt = block.begin(); !fragmentIt.atEnd(); ++fragmentIt) {
            const QTextFragment fragment = fragmentIt.fragment();
            const QFontMetricsF metrics(fragment.charFormat().font(), device);
            line += metrics.horizontalAdvance(fragment.text());
            for (const QString& word : fragment.text().split(QLatin1Char(' '), Qt::SkipEmptyParts))
                widths.minimum = std::max(widths.minimum, metrics.horizontalAdvance(word));
        }
        widths.maximum = std::max(widths.maximum, line);
    }
    return widths;
}

// Shares the width among the columns the way HTML tables do, every column getting at
// least its longest word and the rest going to the columns with the most text, because
// Qt's own sharing of a full-width table splits words in narrow columns.
QList<QTextLength> columnShares(QTextTable* table, qreal available)
{
    QPaintDevice* device = table->document()->documentLayout()->paintDevice();
    const qreal padding = 2.0 * table->format().cellPadding() * device->logicalDpiX() / 96.0 + 2.0;
    QList<ColumnWidths> columns(table->columns());
    for (int row = 0; row < table->rows(); ++row) {
        for (int column = 0; column < table->columns(); ++column) {
            const ColumnWidths cell = measureCell(table->cellAt(row, column), device);
            columns[column].minimum = std::max(columns[column].minimum, cell.minimum + padding);
            columns[column].maximum = std::max(columns[column].maximum, cell.maximum + padding);
        }
    }
    qreal minimumTotal = 0.0;
    qreal maximumTotal = 0.0;
    for (const ColumnWidths& column : columns) {
        minimumTotal += column.minimum;
        maximumTotal += column.maximum;
    }
    QList<qreal> widths;
    for (const ColumnWidths& column : columns) {
        if (maximumTotal <= available)
            widths.append(column.maximum * available / maximumTotal);
        else if (minimumTotal >= available || maximumTotal <= minimumTotal)
            widths.append(column.minimum * available / minimumTotal);
        else
            widths.append(column.minimum + (available - minimumTotal) * (column.maximum - column.minimum)
                                               / (maximumTotal - minimumTotal));
    }
    QList<QTextLength> shares;
    for (const qreal width : widths)
        shares.append(QTextLength(QTextLength::PercentageLength, 100.0 * width / available));
    return shares;
}

// Tables get horizontal rules only, a shaded bold header and the full text width,
// which reads more calmly than a full grid.
void styleTable(QTextTable* table)
{
    QTextTableFormat tableFormat = table->format();
    tableFormat.setBorder(0.0);
    tableFormat.setBorderCollapse(true);
    tableFormat.setCellSpacing(0.0);
    tableFormat.setCellPadding(4.0);
    tableFormat.setWidth(QTextLength(QTextLength::PercentageLength, 100.0));
    tableFormat.setHeaderRowCount(1);
    tableFormat.setTopMargin(2.0);
    tableFormat.setBottomMargin(10.0);
    table->setFormat(tableFormat);

    for (int row = 0; row < table->rows(); ++row) {
        for (int column = 0; column < table->columns(); ++column) {
            QTextTableCell cell = table->cellAt(row, column);
            QTextTableCellFormat cellFormat = cell.format().toTableCellFormat();
            cellFormat.setLeftBorder(0.0);
            cellFormat.setRightBorder(0.0);
            const bool edge = row == 0 || row == table->rows() - 1;
            cellFormat.setTopBorder(row == 0 ? 1.0 : 0.0);
            cellFormat.setBottomBorder(edge ? 1.0 : 0.5);
            cellFormat.setBorderStyle(QTextFrameFormat::BorderStyle_Solid);
            cellFormat.setTopBorderBrush(HeadingColor);
            cellFormat.setBottomBorderBrush(edge ? HeadingColor : RuleColor);
            if (row == 0)
                cellFormat.setBackground(TableHeaderBackground);
            cell.setFormat(cellFormat);
            if (row != 0)
                continue;
            QTextCursor cursor = cell.firstCursorPosition();
            cursor.setPosition(cell.lastCursorPosition().position(), QTextCursor::KeepAnchor);
            QTextCharFormat textFormat;
            textFormat.setFontWeight(QFont::Bold);
            cursor.mergeCharFormat(textFormat);
        }
    }

    // The widths are measured last, once the cells carry their final fonts.
    tableFormat.setColumnWidthConstraints(columnShares(table, table->document()->pageSize().width()));
    table->setFormat(tableFormat);
}

void styleTables(QTextFrame* frame)
{
    for (QTextFrame* child : frame->childFrames()) {
        if (auto* table = qobject_cast<QTextTable*>(child))
            styleTable(table);
        styleTables(child);
    }
}

void styleDocument(QTextDocument& document)
{
    QFont body(BodyFamily);
    body.setPointSizeF(BodyPointSize);
    document.setDefaultFont(body);
    document.setDocumentMargin(0.0);

    bool chapterSeen = false;
    for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
        const int level = block.blockFormat().headingLevel();
        if (level > 0) {
            styleHeading(block, level, level == 2 && !chapterSeen);
            chapterSeen = chapterSeen || level == 2;
        } else {
            styleBodyBlock(block);
        }
    }
    styleTables(document.rootFrame());
}

qreal pageBottomOf(const QRectF& rect, qreal pageHeight)
{
    return (std::floor(rect.top() / pageHeight) + 1.0) * pageHeight;
}

bool isMovableHeading(const QTextBlock& block)
{
    return block.isValid() && block.blockFormat().headingLevel() > 0
        && block.blockFormat().pageBreakPolicy() == QTextFormat::PageBreak_Auto;
}

// Breaks the page before a block, or before the headings directly above it, so that
// headings always travel with the text they introduce.
void breakBefore(QTextBlock block)
{
    while (isMovableHeading(block.previous()))
        block = block.previous();
    QTextBlockFormat blockFormat = block.blockFormat();
    blockFormat.setPageBreakPolicy(QTextFormat::PageBreak_AlwaysBefore);
    blockCursor(block).setBlockFormat(blockFormat);
}

// Moves the text at the first awkward page break (a heading at the foot of a page, a
// short paragraph or table split in two, a table parted from its introduction) to the
// next page, and reports whether there was one.
bool moveOneAwkwardBreak(QTextDocument& document, qreal pageHeight, qreal minimumRoom)
{
    QAbstractTextDocumentLayout* layout = document.documentLayout();
    QTextBlock lastOutsideTables;
    for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
        QTextFrame* frame = QTextCursor(block).currentFrame();
        if (auto* table = qobject_cast<QTextTable*>(frame)) {
            QTextTableFormat tableFormat = table->format();
            const QRectF rect = layout->frameBoundingRect(table);
            // A heading or a sentence that introduces the table with a colon stays on the table's page.
            const bool introduced = lastOutsideTables.isValid()
                && (lastOutsideTables.blockFormat().headingLevel() > 0
                    || lastOutsideTables.text().trimmed().endsWith(QLatin1Char(':')))
                && lastOutsideTables.blockFormat().pageBreakPolicy() == QTextFormat::PageBreak_Auto;
            const bool introSeparated = introduced
                && pageBottomOf(layout->blockBoundingRect(lastOutsideTables), pageHeight) <= rect.top();
            const bool split = rect.height() <= pageHeight * KeepTogetherFraction
                && tableFormat.pageBreakPolicy() == QTextFormat::PageBreak_Auto
                && rect.bottom() > pageBottomOf(rect, pageHeight);
            if (introSeparated || (split && introduced)) {
                breakBefore(lastOutsideTables);
                return true;
            }
            if (split) {
                tableFormat.setPageBreakPolicy(QTextFormat::PageBreak_AlwaysBefore);
                table->setFormat(tableFormat);
                return true;
            }
            continue;
        }
        if (frame != document.rootFrame())
            continue;
        lastOutsideTables = block;
        if (block.blockFormat().pageBreakPolicy() != QTextFormat::PageBreak_Auto)
            continue;
        const QRectF rect = layout->blockBoundingRect(block);
        const qreal pageBottom = pageBottomOf(rect, pageHeight);
        if (block.blockFormat().headingLevel() > 0) {
            if (pageBottom - rect.bottom() < minimumRoom) {
                breakBefore(block);
                return true;
            }
        } else if (rect.bottom() > pageBottom && block.layout()->lineCount() <= ShortParagraphLines) {
            breakBefore(block);
            return true;
        }
    }
    return false;
}

// Moves awkward breaks one at a time, each from a full layout, because every move
// shifts the pages after it.
void avoidAwkwardBreaks(QTextDocument& document, qreal pageHeight)
{
    const qreal lineSpacing = QFontMetricsF(document.defaultFont(), document.documentLayout()->paintDevice()).lineSpacing();
    do
        document.markContentsDirty(0, document.characterCount());
    while (moveOneAwkwardBreak(document, pageHeight, 4.0 * lineSpacing));
}

struct ContentsEntry {
    QString title;
    int page = 0;
};

QList<ContentsEntry> chapters(const QTextDocument& document, qreal pageHeight)
{
    QList<ContentsEntry> entries;
    for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
        if (block.blockFormat().headingLevel() != 2)
            continue;
        const QRectF rect = document.documentLayout()->blockBoundingRect(block);
        entries.append({block.text(), static_cast<int>(std::floor(rect.top() / pageHeight)) + 1});
    }
    return entries;
}

// The title page lists the chapters with their pages, which only the finished
// layout knows, so the list is drawn rather than written into the Markdown.
void drawContents(QPainter& painter, const QList<ContentsEntry>& entries, qreal top, qreal width)
{
    painter.save();
    QFont headingFont(BodyFamily);
    headingFont.setPointSizeF(headingPointSize(3));
    headingFont.setBold(true);
    painter.setFont(headingFont);
    painter.setPen(HeadingColor);
    const QFontMetricsF headingMetrics(headingFont, painter.device());
    painter.drawText(QPointF(0.0, top + headingMetrics.ascent()), QStringLiteral("Contents"));

    QFont entryFont(BodyFamily);
    entryFont.setPointSizeF(BodyPointSize);
    painter.setFont(entryFont);
    const QFontMetricsF metrics(entryFont, painter.device());
    const qreal step = metrics.lineSpacing() * 1.6;
    qreal baseline = top + headingMetrics.lineSpacing() * 1.6 + metrics.ascent();
    const QPen textPen(Qt::black);
    QPen leaderPen(RuleColor, millimetresToPixels(0.3), Qt::DotLine);
    for (const ContentsEntry& entry : entries) {
        const QString number = QString::number(entry.page);
        const qreal titleWidth = metrics.horizontalAdvance(entry.title);
        const qreal numberWidth = metrics.horizontalAdvance(number);
        const qreal gap = millimetresToPixels(2.0);
        painter.setPen(textPen);
        painter.drawText(QPointF(0.0, baseline), entry.title);
        painter.drawText(QPointF(width - numberWidth, baseline), number);
        painter.setPen(leaderPen);
        painter.drawLine(QPointF(titleWidth + gap, baseline), QPointF(width - numberWidth - gap, baseline));
        baseline += step;
    }
    painter.restore();
}

// Where the title page's own text ends, so that the contents list can follow it.
qreal titlePageTextBottom(const QTextDocument& document, qreal pageHeight)
{
    qreal bottom = 0.0;
    for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
        const QRectF rect = document.documentLayout()->blockBoundingRect(block);
        if (rect.top() >= pageHeight || block.blockFormat().headingLevel() == 2)
            break;
        bottom = std::max(bottom, rect.bottom());
    }
    return bottom;
}

void drawFooter(QPainter& painter, const QRectF& area, int page, int pageCount)
{
    painter.save();
    painter.setPen(QPen(RuleColor, millimetresToPixels(0.2)));
    painter.drawLine(QPointF(area.left(), area.top()), QPointF(area.right(), area.top()));
    QFont font(BodyFamily);
    font.setPointSizeF(FooterPointSize);
    painter.setFont(font);
    painter.setPen(FooterColor);
    const QRectF text = area.adjusted(0.0, millimetresToPixels(2.0), 0.0, 0.0);
    painter.drawText(text, Qt::AlignLeft | Qt::AlignTop, DocumentTitle);
    painter.drawText(text, Qt::AlignRight | Qt::AlignTop,
                     QStringLiteral("Page %1 of %2").arg(page).arg(pageCount));
    painter.restore();
}

} // namespace

int main(int argc, char* argv[])
{
    QGuiApplication application(argc, argv);
    const QStringList arguments = QGuiApplication::arguments();
    if (arguments.size() != 3) {
        complain(QStringLiteral("usage: manual-pdf <input.md> <output.pdf>"));
        return 2;
    }
    const QString inputPath = arguments.at(1);
    const QString outputPath = arguments.at(2);

    QFile input(inputPath);
    if (!input.open(QIODevice::ReadOnly)) {
        complain(QStringLiteral("cannot read %1: %2").arg(inputPath, input.errorString()));
        return 1;
    }
    const QString markdown = QString::fromUtf8(input.readAll());
    input.close();

    // A save file replaces the old PDF only once the new one is complete, so a failed
    // run never leaves a truncated manual behind for the build to treat as up to date.
    QSaveFile output(outputPath);
    if (!output.open(QIODevice::WriteOnly)) {
        complain(QStringLiteral("cannot write %1: %2").arg(outputPath, output.errorString()));
        return 1;
    }

    QPdfWriter writer(&output);
    writer.setResolution(Resolution);
    writer.setPageLayout(QPageLayout(QPageSize(QPageSize::A4), QPageLayout::Portrait,
                                     QMarginsF(PageMarginMm, PageMarginMm, PageMarginMm, PageMarginMm),
                                     QPageLayout::Millimeter));
    writer.setTitle(DocumentTitle);
    writer.setCreator(DocumentCreator);

    QTextDocument document;
    // Laying out against the writer gives the fonts the metrics they have on paper.
    document.documentLayout()->setPaintDevice(&writer);
    const qreal bodyWidth = writer.width();
    const qreal footerHeight = millimetresToPixels(FooterHeightMm);
    const qreal bodyHeight = writer.height() - footerHeight;
    document.setPageSize(QSizeF(bodyWidth, bodyHeight));
    document.setMarkdown(markdown);
    styleDocument(document);
    avoidAwkwardBreaks(document, bodyHeight);
    const int pageCount = document.pageCount();
    const QList<ContentsEntry> contents = chapters(document, bodyHeight);

    QPainter painter;
    if (!painter.begin(&writer)) {
        complain(QStringLiteral("cannot write %1: the PDF could not be started").arg(outputPath));
        output.cancelWriting();
        return 1;
    }
    for (int page = 0; page < pageCount; ++page) {
        if (page > 0)
            writer.newPage();
        painter.save();
        painter.translate(0.0, -page * bodyHeight);
        document.drawContents(&painter, QRectF(0.0, page * bodyHeight, bodyWidth, bodyHeight));
        painter.restore();
        // The title page carries the contents instead of a footer.
        if (page == 0)
            drawContents(painter, contents, titlePageTextBottom(document, bodyHeight) + millimetresToPixels(12.0), bodyWidth);
        else
            drawFooter(painter, QRectF(0.0, bodyHeight + footerHeight * 0.3, bodyWidth, footerHeight * 0.7),
                       page + 1, pageCount);
    }
    painter.end();

    if (!output.commit()) {
        complain(QStringLiteral("cannot write %1: %2").arg(outputPath, output.errorString()));
        return 1;
    }
    return 0;
}
