#include "Lumevar/Model/NavigationTypes.h"

namespace {
struct KindRow {
    const char *id;
    const char *title;
    const char *symbol;
};
// Indexed by ContainerKind::Case.
constexpr KindRow kindTable[ContainerKind::count] = {
    {"playlists", "Playlists", "square.grid.3x3"},
    {"albums", "Albums", "square.stack"},
    {"artists", "Artists", "music.microphone"},
    {"songs", "Songs", "music.note"},
    {"madeForYou", "Made for You", "person.crop.square"},
    {"stations", "Stations for You", "radio"},
};
} // namespace

ContainerKind ContainerKind::fromID(const QString &id)
{
    for (int i = 0; i < count; ++i)
        if (id == QLatin1String(kindTable[i].id))
            return ContainerKind(Case(i));
    qFatal("Unsupported container kind ID: %s", qUtf8Printable(id));
}

QList<ContainerKind> ContainerKind::allCases()
{
    return {playlists, albums, artists, songs, madeForYou, stations};
}

QString ContainerKind::id() const { return QString::fromLatin1(kindTable[m_case].id); }
QString ContainerKind::title() const { return QString::fromLatin1(kindTable[m_case].title); }
QString ContainerKind::symbolName() const { return QString::fromLatin1(kindTable[m_case].symbol); }

size_t qHash(ContainerKind kind, size_t seed) { return qHash(kind.title(), seed); }

std::optional<ContainerKind> NavigationItem::containerKind() const
{
    if (const auto *kind = std::get_if<ContainerKind>(&m_value))
        return *kind;
    return std::nullopt;
}

QString NavigationItem::id() const
{
    if (isRoot())
        return QStringLiteral("root");
    if (const auto kind = containerKind())
        return kind->id();
    return collection()->id;
}

size_t qHash(const NavigationItem &item, size_t seed)
{
    if (item.isRoot())
        return qHashMulti(seed, 0);
    if (const auto kind = item.containerKind())
        return qHashMulti(seed, 1, kind->title());
    return qHashMulti(seed, 2, item.collection()->id, item.collection()->title);
}

QString SongSelection::id() const
{
    if (const auto *song = localSong())
        return song->id.rawValue();
    return std::get<Synthetic>(m_value) == Synthetic::play ? playID : shuffleID;
}

QString SongSelection::title() const
{
    if (const auto *song = localSong())
        return song->title;
    return std::get<Synthetic>(m_value) == Synthetic::play ? QStringLiteral("Play") : QStringLiteral("Shuffle");
}

