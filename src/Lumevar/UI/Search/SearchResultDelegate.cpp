#include "Lumevar/UI/Search/SearchResultDelegate.h"

#include "Lumevar/Search/SearchLayout.h"
#include "Lumevar/UI/Search/SearchResultsModel.h"

#include <QPainter>
#include <QPainterPath>

namespace {

// The text colour at a lower opacity: it reads the same over the light and the dark translucent
// backdrop of the panel, whose own colour the list (transparent) does not know.
QColor faded(const QPalette &palette, double opacity)
{
    QColor color = palette.color(QPalette::Text);
    color.setAlphaF(float(opacity));
    return color;
}

QFont sizedFont(const QFont &base, int pixelSize, QFont::Weight weight)
{
    QFont font = base;
    font.setPixelSize(pixelSize);
    font.setWeight(weight);
    return font;
}

} // namespace

namespace SearchColors {
QColor secondary(const QPalette &palette) { return faded(palette, 0.55); }
QColor tertiary(const QPalette &palette) { return faded(palette, 0.4); }
} // namespace SearchColors

SearchResultDelegate::SearchResultDelegate(const SearchResultsModel &model, ArtworkSource artwork, QObject *parent)
    : QStyledItemDelegate(parent), m_model(model), m_artwork(std::move(artwork))
{
}

QSize SearchResultDelegate::sizeHint(const QStyleOptionViewItem &option, const QModelIndex &) const
{
    return QSize(option.rect.width(), int(SearchLayout::lineHeight));
}

void SearchResultDelegate::paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    if (const SearchResult *result = m_model.result(index.row()))
        paintResult(painter, option, *result);
    else
        paintHeader(painter, option, index.data(Qt::DisplayRole).toString());
    painter->restore();
}

void SearchResultDelegate::paintHeader(QPainter *painter, const QStyleOptionViewItem &option, const QString &name) const
{
    // At least minimumRowHeight tall, its text on the bottom edge, as a header over its rows.
    const QRect area = option.rect.adjusted(horizontalInset + 4, 0, -horizontalInset, -4);
    painter->setFont(sizedFont(option.font, 11, QFont::Medium));
    painter->setPen(SearchColors::secondary(option.palette));
    const QString text = painter->fontMetrics().elidedText(name, Qt::ElideRight, area.width());
    painter->drawText(area, Qt::AlignLeft | Qt::AlignBottom, text);
}

void SearchResultDelegate::paintResult(QPainter *painter, const QStyleOptionViewItem &option, const SearchResult &result) const
{
    const QRectF row = QRectF(option.rect).adjusted(horizontalInset, 2, -horizontalInset, -2);
    const bool selected = option.state & QStyle::State_Selected;
    if (selected) {
        QPainterPath background;
        background.addRoundedRect(row, 6, 6);
        painter->fillPath(background, option.palette.color(QPalette::Highlight));
    }

    const double side = SearchLayout::artworkSide;
    const QRectF artwork(row.left() + 4, row.center().y() - side / 2, side, side);
    QPainterPath clip;
    clip.addRoundedRect(artwork, SearchLayout::artworkCornerRadius, SearchLayout::artworkCornerRadius);
    const QImage image = m_artwork ? m_artwork(result) : QImage();
    if (image.isNull()) {
        painter->fillPath(clip, faded(option.palette, 0.12));
    } else {
        painter->save();
        painter->setClipPath(clip);
        painter->setRenderHint(QPainter::SmoothPixmapTransform);
        painter->drawImage(artwork, image);
        painter->restore();
    }

    const QRectF text(artwork.right() + textGap, row.top(), row.right() - artwork.right() - textGap - 4, row.height());
    painter->setFont(sizedFont(option.font, 13, QFont::Normal));
    painter->setPen(option.palette.color(selected ? QPalette::HighlightedText : QPalette::Text));
    const QString name = painter->fontMetrics().elidedText(result.name(), Qt::ElideRight, int(text.width()));
    painter->drawText(text, Qt::AlignLeft | Qt::AlignVCenter, name);
}
