#pragma once
// Process-wide notifications without payload, such as "reloadVisibleRows" from the player to every
// list. A poster names the notification; every observer of that name is called at once, in the
// order they were added:
//
//   m_reloadToken = NotificationCenter::shared().addObserver(Notifications::reloadVisibleRows,
//                                                            [this] { reloadVisibleRows(); });
//   NotificationCenter::shared().post(Notifications::reloadVisibleRows);
//
// An observer stays until its token is destroyed or reset, which may happen anywhere, also inside
// a notification call (that observer is then not called again, not even by the post under way).
// Observers added during a post are first called by the next post. Main thread only.

#include <QHash>
#include <QString>
#include <functional>
#include <memory>

namespace Notifications {
// Redraw the visible rows of every list, so that the now-playing marks follow the player.
inline const QString reloadVisibleRows = QStringLiteral("reloadVisibleRows");
// The appearance settings changed: every list redraws with them.
inline const QString reloadAppearance = QStringLiteral("reloadAppearance");
// A click in a table asks the pane controller to move one pane to the right.
inline const QString navigateRightOnSelection = QStringLiteral("navigateRightOnSelection");
} // namespace Notifications

class NotificationCenter;

// Removes its observer when destroyed or reset. Movable, not copyable; empty when default-made.
class NotificationToken {
public:
    NotificationToken() = default;
    NotificationToken(NotificationToken &&other) noexcept;
    NotificationToken &operator=(NotificationToken &&other) noexcept;
    NotificationToken(const NotificationToken &) = delete;
    NotificationToken &operator=(const NotificationToken &) = delete;
    ~NotificationToken();

    void reset();
    bool isActive() const { return bool(m_observer.lock()); }

private:
    friend class NotificationCenter;
    struct Observer;
    explicit NotificationToken(std::weak_ptr<Observer> observer) : m_observer(std::move(observer)) {}
    std::weak_ptr<Observer> m_observer;
};

class NotificationCenter {
public:
    // The centre of the process.
    static NotificationCenter &shared();

    NotificationCenter();
    ~NotificationCenter();
    NotificationCenter(const NotificationCenter &) = delete;
    NotificationCenter &operator=(const NotificationCenter &) = delete;

    [[nodiscard]] NotificationToken addObserver(const QString &name, std::function<void()> fn);
    void post(const QString &name);
    // Number of observers of name; for tests and diagnostics.
    int observerCount(const QString &name) const;

private:
    using Observer = NotificationToken::Observer;
    friend class NotificationToken;
    void remove(Observer &observer);

    QHash<QString, std::vector<std::shared_ptr<Observer>>> m_observers;
};
