// The measurements on lines. folder: an empty one, for links and scratch files. quick: to see that they work.
#pragma once
#include <string>

namespace mova::bench {

void runExchanges(const std::string& folder, bool quick);
void runManyObjects(const std::string& folder, bool quick);
void runLifetimes(const std::string& folder, bool quick);

}  // namespace mova::bench
