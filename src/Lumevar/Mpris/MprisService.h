#pragma once
// Lumevar as an MPRIS 2 media player on the session bus, so that desktop media keys, panels and
// tools such as playerctl can see and steer it. Every command goes through MainViewModel, the same
// road as the menus, and every property is read from its mirror fields, so the bus shows the song
// the user just chose at once. Property changes are announced with PropertiesChanged, and seeks
// with Seeked.
//
// Without a session bus registerOn() returns false and nothing else happens.

#include "Support/Observable.h"

#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusObjectPath>
#include <QObject>
#include <QVariantMap>
#include <functional>
#include <optional>
#include <vector>

class MainViewModel;
class MprisPlayerAdaptor;

class MprisService : public QObject, protected QDBusContext {
    Q_OBJECT
public:
    static inline const QString serviceName = QStringLiteral("org.mpris.MediaPlayer2.lumevar");
    static inline const QString objectPath = QStringLiteral("/org/mpris/MediaPlayer2");
    static inline const QString rootInterface = QStringLiteral("org.mpris.MediaPlayer2");
    static inline const QString playerInterface = QStringLiteral("org.mpris.MediaPlayer2.Player");

    // What the application does for requests the model does not cover.
    struct Hooks {
        std::function<void()> raise;           // bring the main window to the front
        std::function<void()> quit;            // end the process
        std::function<void()> playWhenStopped; // Play with nothing loaded: play what is selected
        // The player's artwork task settles each shown song's artwork: a new song's metadata then
        // waits for its cover, so that title and picture change in one announcement.
        bool artworkSettles = false;
    };

    MprisService(MainViewModel &model, Hooks hooks, QObject *parent = nullptr);
    ~MprisService() override;

    // Exports the object and claims the bus name (or a per-process variant of it when another
    // Lumevar holds the name). False when the bus is not connected or the object path is taken.
    bool registerOn(QDBusConnection bus);
    void unregister();
    bool isRegistered() const { return m_bus.has_value(); }
    // The name actually claimed; empty while not registered.
    QString registeredName() const { return m_registeredName; }

    MainViewModel &model() const { return m_model; }
    // The properties as last announced (whether or not a bus heard it).
    const QVariantMap &publishedProperties() const { return m_published; }
    const Hooks &hooks() const { return m_hooks; }

    // The commands of the player interface.
    void play();
    void pause();
    void playPause();
    void stop();
    void next();
    void previous();
    void seek(qlonglong offsetMicroseconds);
    void setPosition(const QDBusObjectPath &trackId, qlonglong positionMicroseconds);

    // OpenUri: Lumevar opens no addresses, so a bus caller gets a NotSupported error.
    void openUri(const QString &uri);

    // The properties of the player interface that change, by name, as last computed.
    QVariantMap playerProperties() const;

private:
    void schedulePublish();
    void publish();
    void seekTo(double seconds);

    MainViewModel &m_model;
    Hooks m_hooks;
    MprisPlayerAdaptor *m_player;
    std::optional<QDBusConnection> m_bus;
    QString m_registeredName;
    QVariantMap m_published;
    bool m_publishScheduled = false;
    std::vector<ObservationTrackingToken> m_tokens;
};
