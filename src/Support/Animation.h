#pragma once
// The animation context of the main thread. A model change made inside runAnimationGroup() is
// meant to be animated: views that lay out or repaint because of it read
// AnimationContext::current() and animate over its duration when implicit animation is allowed,
// and otherwise jump. Groups nest; leaving a group restores the context around it. Outside any
// group the context has duration 0 and no implicit animation.
//
//   runAnimationGroup(0.3, true, [&] { model._activePane.set(1); });
//   ...
//   const AnimationContext context = AnimationContext::current();
//   if (context.animates()) startSlide(context.duration); else jump();

#include <functional>

struct AnimationContext {
    double duration = 0;                  // seconds
    bool allowsImplicitAnimation = false;

    // True when a change made now should be animated: implicit animation allowed over a duration above 0.
    bool animates() const { return allowsImplicitAnimation && duration > 0; }

    // The innermost group running on this thread, or the default context outside any group.
    static AnimationContext current();
};

// Runs fn with the given context current, then restores the previous one (also when fn throws).
void runAnimationGroup(double duration, bool allowsImplicitAnimation, const std::function<void()> &fn);
