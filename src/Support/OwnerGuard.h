#pragma once
// Awaiting on behalf of an object that may be destroyed meanwhile. A QCoro task is tied to no
// object: a member coroutine resumes after its object is gone unless something stops it. Each
// await of such a coroutine goes through the object's guard:
//
//     const OwnerGuard guard(this);
//     const QList<LocalAlbum> albums = co_await guard(database.allAlbums(order));
//     _items.set(albums);              // reached only while this object lives
//
// When the owner has gone by the time the awaited task ends (with a result or an exception), the
// await throws OwnerGone, a CancellationError: the owner's end cancels its work, which then takes
// the path of every cancellation (detach() and startTask() drop it without a word,
// ErrorReporter ignores it). A catch-all in such a coroutine lets OwnerGone pass (catch it first).

#include "Support/Error.h"

#include <QCoroTask>
#include <QObject>
#include <QPointer>

#include <exception>
#include <optional>
#include <type_traits>
#include <utility>

class OwnerGone : public CancellationError {};

class OwnerGuard {
public:
    explicit OwnerGuard(const QObject *owner) : m_owner(owner) {}

    bool alive() const { return !m_owner.isNull(); }
    // Throws OwnerGone when the owner is gone.
    void check() const
    {
        if (!alive())
            throw OwnerGone();
    }

    // The task's result or exception, once it ended while the owner still lives. An exception
    // the task threw for an owner that is gone gives way to OwnerGone: no handler of the owner's
    // may run for it.
    template <typename T>
    QCoro::Task<T> operator()(QCoro::Task<T> task) const
    {
        // Copied into this frame: the guard itself may be a temporary of the caller.
        const QPointer<const QObject> owner = m_owner;
        std::exception_ptr error;
        std::optional<std::conditional_t<std::is_void_v<T>, bool, T>> value;
        try {
            if constexpr (std::is_void_v<T>) {
                co_await std::move(task);
                value.emplace(true);
            } else {
                value.emplace(co_await std::move(task));
            }
        } catch (...) {
            error = std::current_exception();
        }
        if (!owner)
            throw OwnerGone();
        if (error)
            std::rethrow_exception(error);
        if constexpr (!std::is_void_v<T>) {
            T result = std::move(*value);
            co_return result;
        }
    }

private:
    QPointer<const QObject> m_owner;
};
