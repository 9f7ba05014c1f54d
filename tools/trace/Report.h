// A summary for people and for machines.
#pragma once
#include <cstdio>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "trace/Summary.h"

namespace mova::trace {

std::string reportText(const Summary& summary, const std::string& name);

nlohmann::json reportJson(const Summary& summary, const std::string& name);

// One exchange, as a line and as an object.
std::string exchangeText(const Exchange& exchange);
nlohmann::json exchangeJson(const Exchange& exchange);

std::string seconds(std::int64_t milliseconds);  // "12.345"

}  // namespace mova::trace
