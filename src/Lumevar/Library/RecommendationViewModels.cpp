#include "Lumevar/Library/RecommendationViewModels.h"

#include "Lumevar/Model/ErrorReporting.h"
#include "Platform/Music/MusicService.h"
#include "Support/Log.h"
#include "Support/OwnerGuard.h"

#include <QPointer>

template <typename Kind>
QCoro::Task<void> RecommendationViewModel<Kind>::load(CancellationToken token)
{
    const OwnerGuard guard(this);
    try {
        const QList<MusicPersonalRecommendation> recommendations = co_await guard(MusicService::shared().personalRecommendations());
        token.checkCancellation();
        // Compared as exact text: a group without a title, or titled in another language, is dropped.
        QList<MusicPersonalRecommendation> kept;
        QList<MusicPersonalRecommendation::Item> items;
        for (const MusicPersonalRecommendation &group : recommendations) {
            if (group.title && *group.title == QLatin1String(Kind::groupTitle)) {
                kept.append(group);
                items.append(group.items);
            }
        }
        _groups.set(kept);
        _items.set(items);
        auto &selection = m_main.*Kind::selection;
        if (!selection() && !items.isEmpty())
            selection.set(items.first().id());
    } catch (const OwnerGone &) {
    } catch (...) {
        const Error error = errorFromCurrentException();
        ErrorReporter::shared().reportError(error, QLatin1String(Kind::loadErrorLabel));
        LUMEVAR_ERROR(Log::sync(), Kind::loadFailedLine, error);
    }
}

template <typename Kind>
QCoro::Task<void> RecommendationViewModel<Kind>::play(std::optional<MusicItemID> id, bool shuffle)
{
    if (!id)
        co_return;
    std::optional<MusicPersonalRecommendation::Item> found;
    for (const MusicPersonalRecommendation &group : _groups()) {
        for (const MusicPersonalRecommendation::Item &item : group.items) {
            if (item.id() == *id) {
                found = item;
                break;
            }
        }
        if (found)
            break;
    }
    if (!found)
        co_return;

    // An item has no eager entry to show, unlike a song.
    m_main._isStopped.set(false);
    m_main._eagerEntry.set(std::nullopt);
    m_main.saveSnapback();

    ApplicationMusicPlayer &player = ApplicationMusicPlayer::shared();
    std::visit([&player](const auto &value) { player.setQueue(value); }, found->value);
    const bool shuffled = Kind::playTakesShuffle && shuffle;
    player.state().setShuffleMode(shuffled ? std::optional<MusicShuffleMode>(MusicShuffleMode::songs) : std::nullopt);

    QPointer<MainViewModel> main(&m_main);
    try {
        co_await player.prepareToPlay();
        co_await player.play();
    } catch (...) {
        const Error error = errorFromCurrentException();
        ErrorReporter::shared().reportError(error, QLatin1String(Kind::playErrorLabel));
        LUMEVAR_ERROR(Log::playback(), Kind::playFailedLine, error);
        if (main)
            main->_showPlayError.set(true);
    }
}

template <typename Kind>
QList<SearchSection> RecommendationViewModel<Kind>::searchSections(const QString &text) const
{
    const QString trimmed = text.trimmed();
    if (trimmed.isEmpty())
        return {};
    QList<SearchResult> results;
    for (const MusicPersonalRecommendation::Item &item : _items()) {
        if (item.title().contains(trimmed, Qt::CaseInsensitive))
            results.append(Kind::result(item));
    }
    if (results.isEmpty())
        return {};
    return {SearchSection(QString::fromLatin1(Kind::groupTitle), results)};
}

template class RecommendationViewModel<MadeForYouRecommendations>;
template class RecommendationViewModel<StationRecommendations>;
