#pragma once
// Paints the rows of the search list: a section header (its name, small, medium weight, in the
// secondary text colour, sitting on the row's bottom) or a result (a 32-point rounded artwork and
// the name). Every row is one line of SearchLayout::lineHeight, which is what the surface's height
// is computed from.

#include "LumevarCore/SearchResult.h"

#include <QStyledItemDelegate>
#include <functional>

class SearchResultsModel;

class SearchResultDelegate : public QStyledItemDelegate {
public:
    // The artwork of a result when it is at hand; a null image draws a placeholder.
    using ArtworkSource = std::function<QImage(const SearchResult &)>;

    SearchResultDelegate(const SearchResultsModel &model, ArtworkSource artwork, QObject *parent = nullptr);

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;

    static constexpr int horizontalInset = 10; // the inset list's margin on both sides
    static constexpr int textGap = 8;          // between artwork and name

private:
    void paintHeader(QPainter *painter, const QStyleOptionViewItem &option, const QString &name) const;
    void paintResult(QPainter *painter, const QStyleOptionViewItem &option, const SearchResult &result) const;

    const SearchResultsModel &m_model;
    ArtworkSource m_artwork;
};

namespace SearchColors {
// Text of lesser rank: the text colour at a lower opacity.
QColor secondary(const QPalette &palette);
QColor tertiary(const QPalette &palette);
} // namespace SearchColors
