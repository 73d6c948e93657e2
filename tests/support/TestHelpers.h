#pragma once

#include <string>
#include <string_view>
#include <thread>
#include <vector>

/// Runs body(0) to body(count - 1), each on a thread of its own, and waits for all of them.
template <class Body>
void OnThreads(unsigned count, const Body& body) {
    std::vector<std::jthread> threads;
    for (unsigned n = 0; n < count; ++n) {
        threads.emplace_back([&body, n] { body(n); });
    }
}

/// Trace sink whose context is a vector of strings.
inline void AddLine(std::string_view text, void* lines) {
    static_cast<std::vector<std::string>*>(lines)->emplace_back(text);
}
