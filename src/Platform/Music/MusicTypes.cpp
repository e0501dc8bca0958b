#include "Platform/Music/MusicTypes.h"

QUrl Artwork::url(int width, int height) const
{
    QString text = m_urlTemplate;
    text.replace(QStringLiteral("{w}"), QString::number(width));
    text.replace(QStringLiteral("{h}"), QString::number(height));
    return QUrl(text);
}

MusicItemID MusicPersonalRecommendation::Item::id() const
{
    return std::visit([](const auto &item) { return item.id; }, value);
}

QString MusicPersonalRecommendation::Item::title() const
{
    return std::visit([]<typename T>(const T &item) {
        if constexpr (std::is_same_v<T, Album>)
            return item.title;
        else
            return item.name;
    }, value);
}

std::optional<Artwork> MusicPersonalRecommendation::Item::artwork() const
{
    return std::visit([](const auto &item) { return item.artwork; }, value);
}
