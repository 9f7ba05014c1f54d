// The measurements on lines. folder: an empty one, for links and scratch files. quick: to see that they work.
#pragma once
#include <string>

namespace mova::bench {

// 10 KB of text, about the most that a request carries.
inline const std::string& largeObject() {
    static const std::string object(10'200, 'F');
    return object;
}

void runExchanges(const std::string& folder, bool quick);
void runManyObjects(const std::string& folder, bool quick);
void runTrickle(const std::string& folder, bool quick);
void runLifetimes(const std::string& folder, bool quick);

}  // namespace mova::bench
