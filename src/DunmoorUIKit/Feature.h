#pragma once
// One feature of a new version, as the What's New window lists it. The kit has no features of its
// own: a host supplies them.

#include <QString>
#include <QUuid>
#include <optional>

struct Feature {
    Feature(QString imageName, QString title, QString subtitle, std::optional<QString> link = std::nullopt)
        : imageName(std::move(imageName)), title(std::move(title)), subtitle(std::move(subtitle)), link(std::move(link))
    {
    }

    QUuid id = QUuid::createUuid();
    QString imageName; // a symbol name (see KitSymbols)
    QString title;
    QString subtitle;
    std::optional<QString> link; // opened in the browser from the feature's link line
};
