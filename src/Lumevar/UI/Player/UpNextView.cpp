#include "Lumevar/UI/Player/UpNextView.h"

#include "Lumevar/Artwork/ArtworkImageCache.h"
#include "Lumevar/UI/ColorScheme.h"
#include "Lumevar/UI/Navigator/RowArtwork.h"
#include "Lumevar/UI/Player/ArtworkView.h"
#include "Lumevar/UI/Player/PlayerSymbols.h"
#include "Lumevar/UI/Player/UpNextModel.h"

#include <QContextMenuEvent>
#include <QKeyEvent>
#include <QLabel>
#include <QListView>
#include <QMenu>
#include <QPainter>
#include <QScreen>
#include <QStackedLayout>
#include <QStyledItemDelegate>
#include <QVBoxLayout>
#include <algorithm>

namespace {

constexpr int artworkEdge = 24;
constexpr int rowSpacing = 4;
constexpr int rowPadding = 2;

// A row: the entry's artwork (the slot of its key: the image loaded for it, else the plain
// background) and its title.
class UpNextRowDelegate : public QStyledItemDelegate {
public:
    UpNextRowDelegate(RowArtwork &artwork, QObject *parent) : QStyledItemDelegate(parent), m_artwork(artwork) {}

    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &) const override
    {
        return {option.rect.width(), artworkEdge + 2 * rowPadding};
    }

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override
    {
        QStyleOptionViewItem background = option;
        initStyleOption(&background, index);
        background.text.clear();
        background.icon = {};
        QStyle *style = option.widget ? option.widget->style() : nullptr;
        if (style)
            style->drawControl(QStyle::CE_ItemViewItem, &background, painter, option.widget);

        const QRect art(option.rect.x() + 6, option.rect.y() + rowPadding, artworkEdge, artworkEdge);
        const QUrl url = index.data(UpNextModel::ArtworkURLRole).toUrl();
        const RowArtwork::Slot slot = m_artwork.slot(url.isValid() ? std::optional<QUrl>(url) : std::nullopt,
                                                     index.data(UpNextModel::ArtworkIDRole).toString());
        painter->save();
        painter->setRenderHint(QPainter::SmoothPixmapTransform);
        if (slot.state == ArtworkState::loaded)
            painter->drawImage(art, slot.image);
        else
            painter->fillRect(art, ArtworkView::backgroundColor(isDarkScheme(option.palette)));
        QFont font = option.font;
        font.setPixelSize(12);
        painter->setFont(font);
        const bool selected = option.state & QStyle::State_Selected;
        painter->setPen(option.palette.color(selected ? QPalette::HighlightedText : QPalette::Text));
        const QRect text = option.rect.adjusted(art.right() + 1 + rowSpacing - option.rect.x(), 0, -6, 0);
        painter->drawText(text, Qt::AlignVCenter | Qt::AlignLeft,
                          QFontMetrics(font).elidedText(index.data().toString(), Qt::ElideRight, text.width()));
        painter->restore();
    }

private:
    RowArtwork &m_artwork;
};

// What an empty queue shows: the list symbol, "Up Next" and a line of explanation.
QWidget *makeEmptyState(QWidget *parent)
{
    auto *empty = new QWidget(parent);
    empty->setObjectName(QStringLiteral("upNextEmpty"));
    auto *column = new QVBoxLayout(empty);
    column->addStretch();
    auto *symbol = new QLabel(empty);
    QColor secondary = parent->palette().color(QPalette::WindowText);
    secondary.setAlphaF(0.5f);
    symbol->setPixmap(PlayerSymbols::icon(QStringLiteral("list.bullet"), secondary, 36).pixmap(36, 36));
    symbol->setAlignment(Qt::AlignCenter);
    column->addWidget(symbol);
    auto *title = new QLabel(UpNextView::emptyTitle, empty);
    QFont font = title->font();
    font.setPointSizeF(font.pointSizeF() * 1.3);
    font.setBold(true);
    title->setFont(font);
    title->setAlignment(Qt::AlignCenter);
    column->addWidget(title);
    auto *description = new QLabel(UpNextView::emptyDescription, empty);
    description->setObjectName(QStringLiteral("upNextEmptyDescription"));
    description->setWordWrap(true);
    description->setAlignment(Qt::AlignCenter);
    QPalette palette = description->palette();
    palette.setColor(QPalette::WindowText, secondary);
    description->setPalette(palette);
    column->addWidget(description);
    column->addStretch();
    return empty;
}

} // namespace

UpNextView::UpNextView(MainViewModel &model, QWidget *parent) : QWidget(parent, Qt::Popup)
{
    setObjectName(QStringLiteral("upNext"));
    setAttribute(Qt::WA_DeleteOnClose);
    setFixedSize(contentSize);
    m_model = new UpNextModel(model, this);

    m_stack = new QStackedLayout(this);
    m_stack->setContentsMargins(1, 1, 1, 1); // the popup's hairline edge stays visible
    m_empty = makeEmptyState(this);
    m_stack->addWidget(m_empty);

    m_list = new QListView(this);
    m_list->setObjectName(QStringLiteral("upNextList"));
    m_list->setModel(m_model);
    // Each row keeps the image its own load gave: rows of one album share one load, whose image
    // the cache keeps under the first row's key only.
    m_artwork = new RowArtwork(this);
    m_artwork->setSource({[](const QString &id) { return ArtworkImageCache::shared().cachedThumbnail(id); },
                          [](std::optional<QUrl> url, QString id) { return ArtworkImageCache::shared().thumbnail(std::move(url), std::move(id)); }});
    connect(m_artwork, &RowArtwork::changed, this, [this] { m_list->viewport()->update(); });
    m_list->setItemDelegate(new UpNextRowDelegate(*m_artwork, m_list));
    // Every row has the same height: the view need not measure 2,500 of them.
    m_list->setUniformItemSizes(true);
    m_list->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_list->setDragDropMode(QAbstractItemView::InternalMove);
    m_list->setDefaultDropAction(Qt::MoveAction);
    m_list->setDragDropOverwriteMode(false);
    m_list->setFrameShape(QFrame::NoFrame);
    m_list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_list->setContextMenuPolicy(Qt::DefaultContextMenu);
    m_list->installEventFilter(this);
    m_list->viewport()->installEventFilter(this);
    m_stack->addWidget(m_list);

    connect(m_model, &UpNextModel::rowsFollowed, this, &UpNextView::refreshState);
    refreshState();
}

bool UpNextView::showsEmptyState() const { return m_stack->currentWidget() == m_empty; }

void UpNextView::refreshState()
{
    m_stack->setCurrentWidget(m_model->rowCount() == 0 ? m_empty : static_cast<QWidget *>(m_list));
    if (!showsEmptyState())
        m_list->setFocus(Qt::PopupFocusReason);
    if (m_rowAfterRemoval >= 0 && m_model->rowCount() > 0)
        m_list->setCurrentIndex(m_model->index(std::min(m_rowAfterRemoval, m_model->rowCount() - 1)));
    m_rowAfterRemoval = -1;
}

void UpNextView::showAnchoredTo(QWidget *anchor)
{
    const QPoint top = anchor->mapToGlobal(QPoint(anchor->width() / 2, 0));
    QPoint position(top.x() - width() / 2, top.y() - height() - 6);
    if (const QScreen *screen = anchor->screen()) {
        const QRect area = screen->availableGeometry();
        if (position.y() < area.top()) // no room above: below the button
            position.setY(anchor->mapToGlobal(QPoint(0, anchor->height())).y() + 6);
        position.setX(std::clamp(position.x(), area.left(), std::max(area.left(), area.right() - width())));
    }
    move(position);
    show();
    refreshState();
}

void UpNextView::removeSelected()
{
    QList<int> rows;
    for (const QModelIndex &index : m_list->selectionModel()->selectedIndexes())
        rows.append(index.row());
    if (rows.isEmpty() && m_list->currentIndex().isValid())
        rows.append(m_list->currentIndex().row());
    if (rows.isEmpty())
        return;
    // The row that takes the first removed one's place becomes current, so Delete can go on.
    m_rowAfterRemoval = *std::min_element(rows.begin(), rows.end());
    m_model->removeEntriesAt(rows);
}

bool UpNextView::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_list && event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent *>(event)->key();
        if (key == Qt::Key_Delete || key == Qt::Key_Backspace) {
            removeSelected();
            return true;
        }
    }
    if (watched == m_list->viewport() && event->type() == QEvent::ContextMenu) {
        const auto *menuEvent = static_cast<QContextMenuEvent *>(event);
        const QModelIndex index = m_list->indexAt(menuEvent->pos());
        if (!index.isValid())
            return true;
        if (!m_list->selectionModel()->isSelected(index))
            m_list->setCurrentIndex(index);
        QMenu menu(this);
        menu.addAction(QStringLiteral("Remove from Up Next"), this, &UpNextView::removeSelected);
        menu.exec(menuEvent->globalPos());
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

void UpNextView::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.fillRect(rect(), palette().color(QPalette::Window));
    painter.setPen(palette().color(QPalette::Mid));
    painter.drawRect(rect().adjusted(0, 0, -1, -1));
}
