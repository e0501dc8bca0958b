#pragma once
// The dismiss action of a view hosted in a plain window: the host sets the action (usually
// closing its window), the view calls dismiss(). Unset, dismiss() does nothing.

#include <functional>

class HostedWindowDismiss {
public:
    std::function<void()> action;

    void dismiss() const
    {
        if (action)
            action();
    }
};
