#pragma once
#include <chrono>
#include <cstdio>
inline void tmark(const char *what) {
    static auto t0 = std::chrono::steady_clock::now();
    if (what[0] == '!') t0 = std::chrono::steady_clock::now();
    if (getenv("TMARK")) fprintf(stderr, "%7.1f %s\n", std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count(), what);
}
