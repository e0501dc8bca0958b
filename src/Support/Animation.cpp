#include "Support/Animation.h"

namespace {

// One context per thread, saved and restored around each group, so nesting needs no stack.
thread_local AnimationContext currentContext;

class ContextScope {
public:
    explicit ContextScope(AnimationContext context) : m_saved(currentContext) { currentContext = context; }
    ~ContextScope() { currentContext = m_saved; }
    ContextScope(const ContextScope &) = delete;
    ContextScope &operator=(const ContextScope &) = delete;

private:
    AnimationContext m_saved;
};

} // namespace

AnimationContext AnimationContext::current()
{
    return currentContext;
}

void runAnimationGroup(double duration, bool allowsImplicitAnimation, const std::function<void()> &fn)
{
    ContextScope scope(AnimationContext{duration, allowsImplicitAnimation});
    fn();
}
