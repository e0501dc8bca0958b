#include "Support/NotificationCenter.h"

#include <QCoreApplication>
#include <QThread>
#include <algorithm>

// Owned by the centre; the token and a post under way refer to it.
struct NotificationToken::Observer {
    NotificationCenter *center;
    QString name;
    std::function<void()> fn;
    bool removed = false;
};

namespace {

void assertMainThread()
{
    Q_ASSERT_X(!QCoreApplication::instance() || QThread::currentThread() == QCoreApplication::instance()->thread(),
               "NotificationCenter", "notifications are posted and observed on the main thread");
}

} // namespace

NotificationToken::NotificationToken(NotificationToken &&other) noexcept : m_observer(std::move(other.m_observer))
{
    other.m_observer.reset();
}

NotificationToken &NotificationToken::operator=(NotificationToken &&other) noexcept
{
    if (this != &other) {
        reset();
        m_observer = std::move(other.m_observer);
        other.m_observer.reset();
    }
    return *this;
}

NotificationToken::~NotificationToken()
{
    reset();
}

void NotificationToken::reset()
{
    if (const std::shared_ptr<Observer> observer = m_observer.lock())
        observer->center->remove(*observer);
    m_observer.reset();
}

NotificationCenter &NotificationCenter::shared()
{
    static NotificationCenter center;
    return center;
}

NotificationCenter::NotificationCenter() = default;

NotificationCenter::~NotificationCenter()
{
    // Tokens that outlive the centre must not reach back into it: they only hold weak references,
    // which expire here with the observers.
    m_observers.clear();
}

NotificationToken NotificationCenter::addObserver(const QString &name, std::function<void()> fn)
{
    assertMainThread();
    auto observer = std::make_shared<Observer>(Observer{this, name, std::move(fn)});
    m_observers[name].push_back(observer);
    return NotificationToken(observer);
}

void NotificationCenter::post(const QString &name)
{
    assertMainThread();
    const auto found = m_observers.constFind(name);
    if (found == m_observers.constEnd())
        return;
    // A copy: calls may add and remove observers of this name.
    const std::vector<std::shared_ptr<Observer>> observers = *found;
    for (const std::shared_ptr<Observer> &observer : observers) {
        if (!observer->removed)
            observer->fn();
    }
}

int NotificationCenter::observerCount(const QString &name) const
{
    const auto found = m_observers.constFind(name);
    return found == m_observers.constEnd() ? 0 : int(found->size());
}

void NotificationCenter::remove(Observer &observer)
{
    assertMainThread();
    observer.removed = true;
    const auto found = m_observers.find(observer.name);
    if (found == m_observers.end())
        return;
    std::erase_if(*found, [&observer](const std::shared_ptr<Observer> &candidate) { return candidate.get() == &observer; });
    if (found->empty())
        m_observers.erase(found);
}
