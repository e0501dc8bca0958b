#include "Lumevar/UI/Navigator/ContainerScreens.h"

#include "Lumevar/Library/CollectionViewModel.h"
#include "Lumevar/Library/RecommendationViewModels.h"
#include "Lumevar/Library/SongListViewModels.h"
#include "Lumevar/Model/ErrorReporting.h"
#include "Lumevar/UI/Navigator/CollectionListView.h"
#include "Lumevar/UI/Navigator/PaneScreen.h"
#include "Support/Error.h"
#include "Support/Log.h"
#include "Support/Task.h"

#include <QMenu>
#include <QPointer>

namespace {

using SelectionBinding = CollectionListController::SelectionBinding;

// Runs a play request of a list and turns its failure into the play-error alert.
QCoro::Task<void> playReportingFailure(MainViewModel &model, std::function<QCoro::Task<void>()> play)
{
    try {
        co_await play();
    } catch (const CancellationError &) {
    } catch (...) {
        model.reportPlayFailure(errorFromCurrentException());
    }
}

// Runs a play request from a row's context menu: a failure is only logged, the user sees nothing.
QCoro::Task<void> playDroppingFailure(std::function<QCoro::Task<void>()> play)
{
    try {
        co_await play();
    } catch (const CancellationError &) {
    } catch (...) {
        LUMEVAR_INFO(Log::playback(), "Play from a context menu failed: %@", errorFromCurrentException());
    }
}

std::optional<QString> text(const std::optional<QString> &id) { return id; }
std::optional<QString> text(const std::optional<MusicItemID> &id)
{
    return id ? std::optional<QString>(id->rawValue()) : std::nullopt;
}
template <typename T>
std::optional<T> valueOf(const std::optional<QString> &id)
{
    if constexpr (std::is_same_v<T, QString>)
        return id;
    else
        return id ? std::optional<T>(T(*id)) : std::nullopt;
}

// The two-way binding of a list's selection to a selection field of the main model.
template <typename T>
SelectionBinding bind(Observable<std::optional<T>> &field)
{
    return {[&field] { return text(field()); }, [&field](const std::optional<QString> &id) { field.set(valueOf<T>(id)); }};
}

// The binding of a list of playable rows: a row the user selects is likely played next.
template <typename T>
SelectionBinding bindPlayable(Observable<std::optional<T>> &field, MainViewModel &main)
{
    SelectionBinding binding = bind(field);
    binding.set = [&main, set = std::move(binding.set)](const std::optional<QString> &id) {
        set(id);
        main.expectPlayback();
    };
    return binding;
}

QMenu *menuOf(const QList<std::pair<QString, std::function<void()>>> &entries)
{
    auto *menu = new QMenu;
    for (const auto &[title, run] : entries)
        QObject::connect(menu->addAction(title), &QAction::triggered, menu, run);
    return menu;
}

// The three observers of a list, held by its controller: the selected id (onNewSelection runs
// when it changed, then the table follows it), the items (replace runs when they changed), and
// the active pane (the focus follows it).
template <typename T, typename Items>
void observe(PaneScreen &screen, MainViewModel &main, Observable<std::optional<T>> &selection, const Observable<Items> &items,
             std::function<void(const Items &)> replace, std::function<void()> onNewSelection)
{
    CollectionListController &controller = screen.controller();
    controller.tokens.push_back(observeChanges(selection, [&controller, onNewSelection](const std::optional<T> &old,
                                                                                           const std::optional<T> &now) {
        if (old != now && onNewSelection)
            onNewSelection();
        controller.updateSelection();
    }));
    controller.tokens.push_back(observeChanges(items, [&controller, replace](const Items &old, const Items &now) {
        if (old == now)
            return;
        replace(now);
        controller.reloadItems();
    }));
    controller.tokens.push_back(observeChanges(main._activePane, [&controller](int old, int now) {
        if (old != now)
            controller.updateFocus();
    }));
    controller.focusedTag = CollectionListController::Binding<int>{[&main] { return main._activePane(); },
                                                                   [&main](const int &pane) { main._activePane.set(pane); }};
}

void finish(PaneScreen &screen, MainViewModel &main, const ArtworkSource &artwork)
{
    screen.view()->setArtworkSource(artwork);
    screen.view()->pauseRequest = [&main] { detach(main.pausePlayback()); };
    screen.view()->playbackIsRunning = [&main] { return main._isPlaying(); };
}

std::unique_ptr<PaneScreen> rootList(NavigatorModels &models)
{
    MainViewModel &main = models.main;
    auto model = std::make_unique<ItemListModel<ContainerKind>>(
        [](TableCellContent &cell, const ContainerKind &kind, ConfigurationType) {
            cell.title = kind.title();
            cell.glyph = kind.symbolName();
            cell.showGlyphBackground = false;
        });
    auto *rows = model.get();
    rows->setItems(ContainerKind::allCases());
    auto screen = std::make_unique<PaneScreen>(std::move(model), main.listScrollState(), bind(main._selectedContainerKindID), 0,
                                               QStringLiteral("ContainerList"), [](int) {});
    // The root list's selection moves the path: the second item becomes the chosen container,
    // and a container without collections drops a third item.
    CollectionListController &controller = screen->controller();
    controller.tokens.push_back(observeChanges(main._selectedContainerKindID, [&main, &controller](const std::optional<QString> &old,
                                                                                                 const std::optional<QString> &now) {
        if (now && old != now) {
            const ContainerKind kind = ContainerKind::fromID(*now);
            main._navigationPath.modify([kind](QList<NavigationItem> &path) {
                while (path.size() < 2)
                    path.append(NavigationItem::root());
                path[1] = NavigationItem::container(kind);
                const bool deep = kind == ContainerKind::playlists || kind == ContainerKind::albums || kind == ContainerKind::artists;
                if (!deep && path.size() == 3)
                    path.removeLast();
            });
        }
        controller.updateSelection();
    }));
    controller.tokens.push_back(observeChanges(main._activePane, [&controller](int old, int now) {
        if (old != now)
            controller.updateFocus();
    }));
    controller.focusedTag = CollectionListController::Binding<int>{[&main] { return main._activePane(); },
                                                                   [&main](const int &pane) { main._activePane.set(pane); }};
    return screen;
}

template <typename Kind>
std::unique_ptr<PaneScreen> collectionList(NavigatorModels &models, CollectionViewModel<Kind> &collections, const QString &name)
{
    using Element = typename Kind::Element;
    MainViewModel &main = models.main;
    auto model = std::make_unique<ItemListModel<Element>>([&main](TableCellContent &cell, const Element &element, ConfigurationType) {
        cell.title = title(element);
        if constexpr (std::is_same_v<Element, LocalAlbum>)
            cell.subtitle = element.artistName.value_or(QString());
        cell.artworkURL = element.artworkURL;
        cell.artworkID = element.thumbnailID;
        if constexpr (std::is_same_v<Element, LocalArtist>)
            cell.artworkStyle = ArtworkStyle::circular;
        cell.showNowPlayingIndicator = main.isPlayingSource(element);
    });
    auto *rows = model.get();
    rows->setItems(collections._items());
    CollectionViewModel<Kind> *viewModel = &collections;
    auto screen = std::make_unique<PaneScreen>(std::move(model), main.listScrollState(), bindPlayable(main.*Kind::selection, main), 1, name, [&main, viewModel](int) {
        detach(playReportingFailure(main, [viewModel] { return viewModel->playSelected(); }));
    });
    observe<QString, QList<Element>>(*screen, main, main.*Kind::selection, collections._items,
                                     [rows](const QList<Element> &items) { rows->setItems(items); },
                                     [viewModel] { viewModel->followSelection(); });
    viewModel->followSelection();
    screen->controller().task = [viewModel] { return viewModel->load(true); };
    screen->view()->menuProvider = [rows, viewModel](int row) -> QMenu * {
        if (row < 0 || row >= rows->count())
            return nullptr;
        const QString id = rows->itemID(row);
        const auto play = [viewModel, id](bool shuffle) {
            detach(playDroppingFailure([viewModel, id, shuffle] { return viewModel->play(id, shuffle); }));
        };
        return menuOf({{QStringLiteral("Play"), [play] { play(false); }}, {QStringLiteral("Shuffle"), [play] { play(true); }}});
    };
    return screen;
}

template <typename Kind>
std::unique_ptr<PaneScreen> recommendationList(NavigatorModels &models, RecommendationViewModel<Kind> &recommendations,
                                               const QString &name, bool offersShuffle)
{
    using Item = MusicPersonalRecommendation::Item;
    MainViewModel &main = models.main;
    const ContainerKind kind(Kind::kind);
    auto model = std::make_unique<ItemListModel<Item>>([&main, kind](TableCellContent &cell, const Item &item, ConfigurationType) {
        cell.title = item.title();
        if (const std::optional<Artwork> artwork = item.artwork())
            cell.artworkURL = artwork->url(64, 64);
        cell.artworkID = item.id().rawValue();
        cell.canShowChevron = false;
        cell.showNowPlayingIndicator = main.isPlayingSource(item, kind);
    });
    auto *rows = model.get();
    rows->setItems(recommendations._items());
    auto &selection = main.*Kind::selection;
    auto *viewModel = &recommendations;
    auto screen = std::make_unique<PaneScreen>(std::move(model), main.listScrollState(), bindPlayable(selection, main), 1, name, [rows, viewModel](int row) {
        detach(viewModel->play(MusicItemID(rows->itemID(row)), false));
    });
    observe<MusicItemID, QList<Item>>(*screen, main, selection, recommendations._items,
                                      [rows](const QList<Item> &items) { rows->setItems(items); }, {});
    screen->controller().task = [viewModel] { return viewModel->load(); };
    screen->view()->menuProvider = [rows, viewModel, offersShuffle](int row) -> QMenu * {
        if (row < 0 || row >= rows->count())
            return nullptr;
        const MusicItemID id(rows->itemID(row));
        QList<std::pair<QString, std::function<void()>>> entries{
            {QStringLiteral("Play"), [viewModel, id] { detach(viewModel->play(id, false)); }}};
        if (offersShuffle)
            entries.append({QStringLiteral("Shuffle"), [viewModel, id] { detach(viewModel->play(id, true)); }});
        return menuOf(entries);
    };
    return screen;
}

// A song list: Play and Shuffle rows, then the songs; play runs a row's id.
std::unique_ptr<PaneScreen> songList(NavigatorModels &models, Observable<QList<LocalSong>> &songs,
                                     Observable<std::optional<QString>> &selection, int tag, std::optional<QString> name,
                                     std::function<void(QString id)> play)
{
    MainViewModel &main = models.main;
    auto model = std::make_unique<SongRowsModel>([&main](TableCellContent &cell, const LocalSong &song, ConfigurationType) {
        cell.title = song.title;
        cell.subtitle = song.artistName.value_or(QString());
        cell.artworkURL = song.artworkURL;
        // Songs of one album share their artwork: its URL names the thumbnail.
        cell.artworkID = song.artworkURL ? song.artworkURL->toString() : song.identifier;
        cell.showNowPlayingIndicator = main.isPlayingSong(song);
        cell.isEnabled = song.playParameters.has_value();
    });
    auto *rows = model.get();
    rows->setSongs(songs());
    auto screen = std::make_unique<PaneScreen>(std::move(model), main.listScrollState(), bindPlayable(selection, main), tag, std::move(name),
                                               [rows, play](int row) { play(rows->itemID(row)); });
    observe<QString, QList<LocalSong>>(*screen, main, selection, songs, [rows](const QList<LocalSong> &list) { rows->setSongs(list); },
                                       {});
    screen->view()->menuProvider = [rows, play](int row) -> QMenu * {
        if (row < 0 || row >= rows->count())
            return nullptr;
        const QString id = rows->itemID(row);
        return menuOf({{QStringLiteral("Play"), [play, id] { play(id); }}});
    };
    return screen;
}

} // namespace

namespace ContainerScreens {

std::unique_ptr<PaneScreen> make(const NavigationItem &item, NavigatorModels &models, const ArtworkSource &artwork)
{
    MainViewModel &main = models.main;
    std::unique_ptr<PaneScreen> screen;
    if (item.isRoot()) {
        screen = rootList(models);
    } else if (item.collection()) {
        DetailSongsViewModel *detail = &models.detailSongs;
        screen = songList(models, main._detailSongs, main._selectedDetailSongID, 2, std::nullopt,
                          [detail](QString id) { detach(detail->playSelection(id)); });
    } else {
        switch (item.containerKind()->value()) {
        case ContainerKind::playlists:
            screen = collectionList(models, models.playlists, QStringLiteral("PlaylistsList"));
            break;
        case ContainerKind::albums:
            screen = collectionList(models, models.albums, QStringLiteral("AlbumsList"));
            break;
        case ContainerKind::artists:
            screen = collectionList(models, models.artists, QStringLiteral("ArtistsList"));
            break;
        case ContainerKind::songs: {
            TopLevelSongsViewModel *songs = &models.topLevelSongs;
            screen = songList(models, main._topLevelSongs, main._selectedTopLevelSongID, 1, QStringLiteral("TopLevelSongsList"),
                              [songs, &main](QString id) {
                                  detach(playReportingFailure(main, [songs, id] { return songs->playSelection(id); }));
                              });
            screen->controller().task = [songs] { return songs->loadSongs(true); };
            break;
        }
        case ContainerKind::madeForYou:
            screen = recommendationList<MadeForYouRecommendations>(models, models.madeForYou, QStringLiteral("MadeForYouList"), true);
            break;
        case ContainerKind::stations:
            screen = recommendationList<StationRecommendations>(models, models.stations, QStringLiteral("StationsList"), false);
            break;
        }
    }
    finish(*screen, main, artwork);
    // Every row but the root list's plays: a press on one, even the selected Play row a pane opens
    // with, starts the engine while the rest of the double click comes.
    if (!item.isRoot())
        screen->view()->rowPressed = [&main] { main.expectPlayback(); };
    return screen;
}

} // namespace ContainerScreens
