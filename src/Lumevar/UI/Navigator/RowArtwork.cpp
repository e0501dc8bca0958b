#include "Lumevar/UI/Navigator/RowArtwork.h"

#include "Support/Error.h"
#include "Support/Log.h"
#include "Support/Task.h"

#include <QPointer>
#include <QSet>

RowArtwork::RowArtwork(QObject *parent) : QObject(parent) {}

void RowArtwork::setSource(ArtworkSource source)
{
    m_source = std::move(source);
    m_slots.clear();
}

RowArtwork::Slot RowArtwork::slot(const std::optional<QUrl> &url, const QString &id)
{
    if (const auto found = m_slots.constFind(id); found != m_slots.constEnd())
        return *found;
    Slot slot;
    if (m_source.cached)
        slot.image = m_source.cached(id);
    if (!slot.image.isNull())
        slot.state = ArtworkState::loaded;
    else
        slot.state = url ? ArtworkState::unknown : ArtworkState::failed;
    // The slot is kept before the load starts: a load that ends at once (its file read before it
    // was awaited) fills it in, and must not be overwritten by the unknown state after it.
    m_slots.insert(id, slot);
    if (slot.state == ArtworkState::unknown && m_source.load && !m_loading.contains(id)) {
        m_loading.insert(id);
        detach(load(url, id));
    }
    return m_slots.value(id);
}

void RowArtwork::retainOnly(const QSet<QString> &keep)
{
    for (auto it = m_slots.begin(); it != m_slots.end();) {
        if (!keep.contains(it.key()) && !m_loading.contains(it.key()))
            it = m_slots.erase(it);
        else
            ++it;
    }
}

QCoro::Task<void> RowArtwork::load(std::optional<QUrl> url, QString id)
{
    QPointer self(this);
    Slot result;
    try {
        result.image = co_await m_source.load(url, id);
        result.state = result.image.isNull() ? ArtworkState::failed : ArtworkState::loaded;
    } catch (const CancellationError &) {
        if (self)
            self->m_loading.remove(id);
        co_return;
    } catch (...) {
        LUMEVAR_ERROR(Log::images(), "Failed to load artwork: %@", errorFromCurrentException());
        result.state = ArtworkState::failed;
    }
    if (!self)
        co_return;
    m_loading.remove(id);
    m_slots.insert(id, result);
    Q_EMIT changed(id);
}
