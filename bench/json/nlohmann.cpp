// SPDX-License-Identifier: MIT
#include <nlohmann/json.hpp>

#include "documents.h"

namespace bench {

namespace {

struct NlohmannJson {
    static nlohmann::json parse(const std::string& text) { return nlohmann::json::parse(text); }
    static std::string write(const nlohmann::json& tree) { return tree.dump(); }
};

JsonRows<NlohmannJson> gRows("nlohmann");

}  // namespace

}  // namespace bench
