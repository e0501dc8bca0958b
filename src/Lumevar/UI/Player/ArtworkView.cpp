#include "Lumevar/UI/Player/ArtworkView.h"

#include "Lumevar/Artwork/ArtworkImageCache.h"
#include "Lumevar/Artwork/ArtworkLoad.h"
#include "Lumevar/UI/ColorScheme.h"
#include "Lumevar/UI/Player/PlayerSymbols.h"
#include "Support/Task.h"

#include <QPainter>
#include <QPainterPath>

ArtworkView::ArtworkView(QSize size, qreal cornerRadius, bool showBorder, QWidget *parent)
    : QWidget(parent), m_cornerRadius(cornerRadius), m_showBorder(showBorder)
{
    setFixedSize(size);
}

ArtworkView::~ArtworkView() = default;

QColor ArtworkView::backgroundColor(bool dark) { return dark ? QColor(58, 58, 60) : QColor(225, 225, 228); }

void ArtworkView::clear()
{
    ++m_generation;
    m_identity.clear();
    m_image = {};
    m_state = State::unknown;
    update();
}

void ArtworkView::setArtwork(const std::optional<QUrl> &url, const QString &uniqueID)
{
    const QString identity = uniqueID + QLatin1Char('-') + (url ? url->toString(QUrl::FullyEncoded) : QString());
    if (identity == m_identity)
        return;
    m_identity = identity;
    const quint64 generation = ++m_generation;
    ArtworkLoad seeded = ArtworkLoad::seeded(uniqueID, ArtworkImageCache::shared());
    m_state = seeded.state;
    m_image = std::move(seeded.image);
    update();
    if (url && m_state != State::loaded)
        load(url, uniqueID, generation);
}

void ArtworkView::load(std::optional<QUrl> url, QString uniqueID, quint64 generation)
{
    detach([](QPointer<ArtworkView> self, std::optional<QUrl> url, QString uniqueID, quint64 generation) -> QCoro::Task<void> {
        QCoro::Task<ArtworkLoad> asking = loadArtwork(std::move(url), std::move(uniqueID), ArtworkImageCache::shared());
        ArtworkLoad outcome = co_await std::move(asking);
        // A newer item took the view over meanwhile, or the view is gone.
        if (!self || self->m_generation != generation)
            co_return;
        self->m_state = outcome.state;
        self->m_image = std::move(outcome.image);
        self->update();
    }(QPointer(this), std::move(url), std::move(uniqueID), generation));
}

void ArtworkView::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    const QRectF box = rect();
    QPainterPath clip;
    clip.addRoundedRect(box, m_cornerRadius, m_cornerRadius);
    painter.setClipPath(clip);
    const bool dark = isDarkScheme(palette());
    if (m_state == State::loaded) {
        painter.drawImage(box, m_image);
    } else {
        painter.fillRect(box, backgroundColor(dark));
        if (m_state == State::failed) {
            QColor secondary = palette().color(QPalette::WindowText);
            secondary.setAlphaF(0.5f);
            const qreal edge = std::min(box.width(), box.height()) * 0.5;
            PlayerSymbols::draw(painter, QStringLiteral("music.note"),
                                QRectF(box.center().x() - edge / 2, box.center().y() - edge / 2, edge, edge), secondary);
        }
    }
    if (m_showBorder && dark) {
        painter.setClipping(false);
        painter.setPen(QPen(QColor(255, 255, 255, 31), 1));
        painter.setBrush(Qt::NoBrush);
        painter.drawRoundedRect(box.adjusted(0.5, 0.5, -0.5, -0.5), 3, 3);
    }
}
