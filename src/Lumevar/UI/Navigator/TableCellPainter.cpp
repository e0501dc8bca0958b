#include "Lumevar/UI/Navigator/TableCellPainter.h"

#include "Lumevar/Navigator/CellLayout.h"
#include "Lumevar/Navigator/NowPlayingBars.h"
#include "Lumevar/UI/Icons.h"

#include <QPainter>
#include <QPainterPath>
#include <QTextLayout>
#include <cmath>

namespace {

QFont::Weight qtWeight(FontWeightSetting weight)
{
    switch (weight) {
    case FontWeightSetting::regular: return QFont::Normal;
    case FontWeightSetting::medium: return QFont::Medium;
    case FontWeightSetting::semibold: return QFont::DemiBold;
    case FontWeightSetting::bold: return QFont::Bold;
    }
    return QFont::DemiBold;
}

constexpr double glyphPointSize = 16;
constexpr double overlaySymbolSize = 14;
constexpr double chevronSymbolSize = 11;

} // namespace

TableCellPainter::TableCellPainter() : m_titleMetrics(QFont()), m_subtitleMetrics(QFont()) {}

void TableCellPainter::setAppearance(const CellAppearance &appearance, const QFont &systemFont)
{
    m_appearance = appearance;
    m_titleFont = systemFont;
    m_titleFont.setPixelSize(int(titlePixelSize));
    m_titleFont.setWeight(qtWeight(appearance.titleWeight));
    m_subtitleFont = systemFont;
    m_subtitleFont.setPixelSize(int(subtitlePixelSize));
    m_subtitleFont.setWeight(QFont::Normal);
    m_titleMetrics = QFontMetricsF(m_titleFont);
    m_subtitleMetrics = QFontMetricsF(m_subtitleFont);
}

bool TableCellPainter::hasSubtitle(const TableCellContent &content) const
{
    return m_appearance.showSubtitles && !content.subtitle.isEmpty();
}

double TableCellPainter::titleHeight(const QString &title, double width) const
{
    // Two lines at most: a title wider than the room takes the second line when allowed.
    const double line = std::ceil(m_titleMetrics.height());
    const bool fits = m_titleMetrics.horizontalAdvance(title) <= width;
    const int lines = fits || m_appearance.maxTitleLines == 1 ? 1 : 2;
    return std::min(line * lines, CellLayout::measureHeightLimit);
}

double TableCellPainter::rowHeight(const TableCellContent &content, double width) const
{
    const double text = CellLayout::textWidth(width, m_appearance.artworkSize, content.canShowChevron);
    const bool subtitle = hasSubtitle(content);
    return CellLayout::rowHeight(m_appearance.artworkSize, m_appearance.verticalPadding, titleHeight(content.title, text),
                                 std::ceil(m_subtitleMetrics.height()), subtitle);
}

QRectF TableCellPainter::artworkRect(const QRectF &rowRect) const
{
    const double a = m_appearance.artworkSize;
    return QRectF(rowRect.left(), rowRect.top() + std::trunc((rowRect.height() - a) * 0.5), a, a);
}

QPixmap TableCellPainter::tinted(const QString &symbol, double side, const QColor &color) const
{
    const QString key = symbol + QLatin1Char('/') + QString::number(side) + QLatin1Char('/') + color.name(QColor::HexArgb);
    if (const auto found = m_symbols.constFind(key); found != m_symbols.constEnd())
        return *found;
    const int pixels = int(std::ceil(side * 2));
    if (pixels <= 0)
        return {};
    QPixmap pixmap = Icons::drawnSymbol(symbol).pixmap(pixels, pixels);
    pixmap.setDevicePixelRatio(2);
    {
        QPainter tint(&pixmap);
        tint.setCompositionMode(QPainter::CompositionMode_SourceIn);
        tint.fillRect(pixmap.rect(), color);
    }
    m_symbols.insert(key, pixmap);
    return pixmap;
}

void TableCellPainter::paintTitle(QPainter &painter, const QRectF &rect, const QString &title, const QColor &color) const
{
    painter.setFont(m_titleFont);
    painter.setPen(color);
    const double line = std::ceil(m_titleMetrics.height());
    if (rect.height() < line * 2 || m_titleMetrics.horizontalAdvance(title) <= rect.width()) {
        const QString elided = m_titleMetrics.elidedText(title, Qt::ElideRight, rect.width());
        painter.drawText(QRectF(rect.left(), rect.top(), rect.width(), line), Qt::AlignLeft | Qt::AlignVCenter, elided);
        return;
    }
    // Word-wrapped over two lines; what does not fit on the second is cut with an ellipsis.
    QTextLayout layout(title, m_titleFont);
    layout.beginLayout();
    QTextLine first = layout.createLine();
    first.setLineWidth(rect.width());
    layout.endLayout();
    const int split = first.textStart() + first.textLength();
    painter.drawText(QRectF(rect.left(), rect.top(), rect.width(), line), Qt::AlignLeft | Qt::AlignVCenter,
                     title.left(split).trimmed());
    const QString rest = m_titleMetrics.elidedText(title.mid(split).trimmed(), Qt::ElideRight, rect.width());
    painter.drawText(QRectF(rect.left(), rect.top() + line, rect.width(), line), Qt::AlignLeft | Qt::AlignVCenter, rest);
}

void TableCellPainter::paint(QPainter &painter, const QRectF &rowRect, const TableCellContent &content, const RowState &state,
                             const ListColors &colors, bool gridLine) const
{
    if (state.selected) {
        QPainterPath path;
        path.addRoundedRect(rowRect.adjusted(-6, 0, 6, 0), 5, 5);
        painter.fillPath(path, state.emphasized ? colors.emphasizedSelection : colors.unemphasizedSelection);
    } else if (state.alternate) {
        painter.fillRect(rowRect.adjusted(-6, 0, 6, 0), colors.alternateBase);
    }
    if (gridLine && !state.selected)
        painter.fillRect(QRectF(rowRect.left(), rowRect.bottom() - 1, rowRect.width(), 1), colors.separator);

    const bool hasSub = hasSubtitle(content);
    const double text = CellLayout::textWidth(rowRect.width(), m_appearance.artworkSize, content.canShowChevron);
    CellLayout::Input input;
    input.width = rowRect.width();
    input.height = rowRect.height();
    input.artworkSize = m_appearance.artworkSize;
    input.verticalPadding = m_appearance.verticalPadding;
    input.canShowChevron = content.canShowChevron;
    input.emphasized = state.emphasized;
    input.titleHeight = titleHeight(content.title, text);
    input.subtitleHeight = std::ceil(m_subtitleMetrics.height());
    input.hasSubtitle = hasSub;
    const CellLayout::Frames frames = CellLayout::layout(input);
    const QPointF origin = rowRect.topLeft();

    paintArtwork(painter, frames.artwork.translated(origin), content, state, colors);

    const bool onEmphasis = state.emphasized;
    QColor titleColor = content.isEnabled ? colors.label : colors.secondaryLabel;
    QColor subtitleColor = content.isEnabled ? colors.secondaryLabel : colors.tertiaryLabel;
    if (onEmphasis) {
        titleColor = colors.selectedLabel;
        subtitleColor = colors.selectedLabel;
        subtitleColor.setAlphaF(0.8f);
    }
    paintTitle(painter, frames.title.translated(origin), content.title, titleColor);
    if (hasSub) {
        painter.setFont(m_subtitleFont);
        painter.setPen(subtitleColor);
        const QRectF rect = frames.subtitle.translated(origin);
        painter.drawText(rect, Qt::AlignLeft | Qt::AlignVCenter, m_subtitleMetrics.elidedText(content.subtitle, Qt::ElideRight, rect.width()));
    }
    if (!frames.chevron.isEmpty()) {
        const QRectF rect = frames.chevron.translated(origin);
        const QColor chevronColor = onEmphasis ? colors.selectedLabel : colors.secondaryLabel;
        const QPixmap chevron = tinted(QStringLiteral("chevron.right"), chevronSymbolSize, chevronColor);
        const QSizeF size = chevron.deviceIndependentSize();
        painter.drawPixmap(QPointF(rect.center().x() - size.width() / 2, rect.center().y() - size.height() / 2), chevron);
    }
}

void TableCellPainter::paintArtwork(QPainter &painter, const QRectF &rect, const TableCellContent &content, const RowState &state,
                                    const ListColors &colors) const
{
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    const double radius = content.artworkStyle == ArtworkStyle::circular ? rect.width() / 2 : 4;
    QPainterPath clip;
    clip.addRoundedRect(rect, radius, radius);

    const ArtworkDisplay display = ArtworkDisplay::of(state.artworkState, state.pointerInArtwork, content.showNowPlayingIndicator);
    if (display.showsPlaceholder) {
        painter.fillPath(clip, colors.artworkBackground);
        const double side = rect.width() * 0.5;
        const QPixmap note = tinted(QStringLiteral("music.note"), side, colors.secondaryLabel);
        painter.drawPixmap(QPointF(rect.center().x() - side / 2, rect.center().y() - side / 2), note);
    }
    if (display.showsImage && !state.image.isNull()) {
        painter.setClipPath(clip);
        painter.drawImage(rect, state.image);
        painter.setClipping(false);
    }
    if (content.glyph) {
        const double side = glyphPointSize * rect.width() / 32;
        // On the focused list's selection the accent would vanish in the highlight: white instead.
        const QColor tint = state.emphasized ? colors.selectedLabel : colors.red;
        if (content.showGlyphBackground) {
            QColor background = tint;
            background.setAlphaF(0.15f);
            painter.fillPath(clip, background);
        }
        const QPixmap glyph = tinted(*content.glyph, side, tint);
        painter.drawPixmap(QPointF(rect.center().x() - side / 2, rect.center().y() - side / 2), glyph);
    }
    if (display.showsOverlay || display.showsNowPlaying)
        painter.fillPath(clip, QColor(0, 0, 0, 128));
    if (display.showsOverlay) {
        const QPixmap symbol = tinted(display.overlaySymbol, overlaySymbolSize, Qt::white);
        painter.drawPixmap(QPointF(rect.center().x() - overlaySymbolSize / 2, rect.center().y() - overlaySymbolSize / 2), symbol);
    }
    if (display.showsNowPlaying) {
        for (int bar = 0; bar < NowPlayingBars::barCount; ++bar) {
            const QRectF full = NowPlayingBars::barFrame(rect.width(), bar).translated(rect.topLeft());
            const double scale = NowPlayingBars::barScale(state.barsElapsed, bar);
            // Bars grow from their foot.
            const QRectF grown(full.left(), full.bottom() - full.height() * scale, full.width(), full.height() * scale);
            painter.fillRect(grown, Qt::white);
        }
    }
    painter.restore();
}
