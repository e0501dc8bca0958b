#pragma once
// Observable fields of the main-thread models, and observeChanges(), by which views follow them.
//
// A model holds its state in fields such as `Observable<bool> _isPlaying;`, reads them with
// `_isPlaying.get()` or `_isPlaying()`, and writes them with `set(value)` or, for containers,
// `modify([](QList<X> &list) { ... })`. Every write notifies, even when it stores an equal value.
// A field nobody observes costs one null-pointer test per write.
//
// A view follows a field through observeChanges(field, fn), where fn takes (old, new) or nothing:
//
//   m_tokens.push_back(observeChanges(model._activePane, [this](int old, int now) { ... }));
//
// - The call comes a turn of the main event loop after the write, never inside it. All writes
//   between two turns reach fn as one call, with the value from before the first of them and the
//   latest value; fn decides by itself whether they differ. Writes made by fn itself are not
//   reported back to it; the next write after the call is.
// - The animation context current at the first write is replayed: a write inside
//   runAnimationGroup(0.3, true, ...) gives a call inside a group of 0.3 seconds with implicit
//   animation allowed, so an animated model change stays animated in every view. A write outside
//   such a group gives a plain call.
// - The returned token keeps the observation alive; the observation holds it only weakly. Once
//   the token is released no call happens any more, and the field forgets the observation at its
//   next write. A field may have any number of observations. Destroying the field ends them too.
// - Main thread only: writes to an observed field and the calls both happen there. The value type
//   must be copyable (the old value is kept until the call).
//
// Fields are neither copyable nor movable: observations refer to the field they watch.

#include "Support/Animation.h"

#include <algorithm>
#include <concepts>
#include <functional>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

// Carries nothing: while its owner holds it, the observation it belongs to stays armed.
struct ObservationTrackingTokenObject {};
using ObservationTrackingToken = std::shared_ptr<ObservationTrackingTokenObject>;

namespace ObservationDetail {
// Runs fn on the main thread a turn of its event loop later.
void postToMainThread(std::function<void()> fn);
// Checks, in debug builds, that an observed field is written on the main thread.
void assertMainThread();
// Calls fn inside an animation group like the one of the write (context), or plainly.
void replay(const AnimationContext &context, const std::function<void()> &fn);
} // namespace ObservationDetail

template <typename T>
class Observable {
public:
    Observable() : m_value() {}
    Observable(T initial) : m_value(std::move(initial)) {} // NOLINT: implicit, so `_x = false` works
    Observable(const Observable &) = delete;
    Observable &operator=(const Observable &) = delete;

    const T &get() const { return m_value; }
    const T &operator()() const { return m_value; }

    // Stores value and notifies the observers, also when value equals the current one.
    void set(T value)
    {
        willChange();
        m_value = std::move(value);
    }

    // Changes the value in place (append to a list, ...) and notifies like set().
    template <typename Fn>
        requires std::invocable<Fn, T &>
    void modify(Fn &&fn)
    {
        willChange();
        std::forward<Fn>(fn)(m_value);
    }

    // Number of observations still armed or waiting for their call; for tests and diagnostics.
    std::size_t observationCount() const { return m_chains ? m_chains->size() : 0; }

private:
    template <typename U>
    friend ObservationTrackingToken observeFieldChanges(const Observable<U> &,
                                                        std::function<void(const U &, const U &)>);

    // One observation: armed until a write queues its call, re-armed when the call runs.
    struct Chain {
        const Observable *field;
        std::weak_ptr<ObservationTrackingTokenObject> token;
        std::function<void(const T &, const T &)> onChange;
        bool armed = true;
    };
    using Chains = std::vector<std::shared_ptr<Chain>>;

    void willChange()
    {
        if (m_chains)
            notifyObservers();
    }

    // Runs before the new value is stored, so m_value is still the old one.
    void notifyObservers()
    {
        ObservationDetail::assertMainThread();
        std::erase_if(*m_chains, [](const std::shared_ptr<Chain> &chain) { return chain->token.expired(); });
        if (m_chains->empty()) {
            m_chains.reset();
            return;
        }
        const AnimationContext context = AnimationContext::current();
        std::shared_ptr<const T> old; // one copy shared by every call of this write
        for (const std::shared_ptr<Chain> &chain : *m_chains) {
            if (!chain->armed)
                continue; // a call from an earlier write of this turn is on its way and will read the latest value
            chain->armed = false;
            if (!old)
                old = std::make_shared<const T>(m_value);
            ObservationDetail::postToMainThread([weak = std::weak_ptr<Chain>(chain), old, context] {
                deliver(weak, *old, context);
            });
        }
    }

    static void deliver(const std::weak_ptr<Chain> &weak, const T &old, const AnimationContext &context)
    {
        // Gone when the field was destroyed or the field dropped the chain after the token went.
        const std::shared_ptr<Chain> chain = weak.lock();
        if (!chain || chain->token.expired())
            return;
        const T latest = chain->field->m_value;
        ObservationDetail::replay(context, [&] { chain->onChange(old, latest); });
        // Armed again only after the call: a write the call makes itself (an observer that
        // corrects its own field) is not reported back to it, or it would call itself again.
        chain->armed = true;
    }

    T m_value;
    mutable std::unique_ptr<Chains> m_chains; // null until the first observation
};

template <typename T>
[[nodiscard]] ObservationTrackingToken observeFieldChanges(const Observable<T> &field,
                                                           std::function<void(const T &, const T &)> onChange)
{
    auto token = std::make_shared<ObservationTrackingTokenObject>();
    using Chain = typename Observable<T>::Chain;
    if (!field.m_chains)
        field.m_chains = std::make_unique<typename Observable<T>::Chains>();
    field.m_chains->push_back(std::make_shared<Chain>(Chain{&field, token, std::move(onChange)}));
    return token;
}

// Follows field: onChange(old, new) or onChange() a turn after each batch of writes (see above).
template <typename T, typename Fn>
[[nodiscard]] ObservationTrackingToken observeChanges(const Observable<T> &field, Fn &&onChange)
{
    if constexpr (std::is_invocable_v<Fn, const T &, const T &>) {
        return observeFieldChanges<T>(field, std::forward<Fn>(onChange));
    } else {
        static_assert(std::is_invocable_v<Fn>, "the change function takes (old, new) or nothing");
        return observeFieldChanges<T>(field, [fn = std::forward<Fn>(onChange)](const T &, const T &) { fn(); });
    }
}

// Follows several fields with one argument-free call, keeping a token per field in tokens:
//   observeEach(m_tokens, [this] { scheduleChrome(); }, model._isPlaying, model._navigationPath);
template <typename Fn, typename... T>
void observeEach(std::vector<ObservationTrackingToken> &tokens, const Fn &onChange, const Observable<T> &...fields)
{
    (tokens.push_back(observeChanges(fields, onChange)), ...);
}
