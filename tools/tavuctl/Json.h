#pragma once
#include <nlohmann/json.hpp>

namespace tavu::tavuctl {

// Keys stay in the order written, which is the order people read them in.
using Json = nlohmann::ordered_json;

}  // namespace tavu::tavuctl
