#pragma once
// What a call made on one thread ended in, carried to the thread that awaits it: its value, or
// the exception it threw, which then arrives as itself. capture() runs the call where it is made;
// take() gives the value back, or rethrows, where it is awaited.

#include <exception>
#include <optional>
#include <type_traits>
#include <utility>

template <typename Result>
class CallOutcome {
public:
    // Runs call, keeping what it returns or throws; false when it threw.
    template <typename Call>
    bool capture(Call &&call)
    {
        try {
            if constexpr (std::is_void_v<Result>) {
                call();
                m_value.emplace(true);
            } else {
                m_value.emplace(call());
            }
            return true;
        } catch (...) {
            m_error = std::current_exception();
            return false;
        }
    }

    Result take()
    {
        if (m_error)
            std::rethrow_exception(m_error);
        if constexpr (!std::is_void_v<Result>)
            return std::move(*m_value);
    }

private:
    std::optional<std::conditional_t<std::is_void_v<Result>, bool, Result>> m_value;
    std::exception_ptr m_error;
};
