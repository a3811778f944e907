// SPDX-License-Identifier: MIT
#include <qz/ext/Json.h>

#include <utility>

#include "documents.h"

namespace bench {

namespace {

struct QzJson {
    static qz::qzVariant parse(const std::string& text)
    {
        return std::move(qz::ext::readJson(text).value);
    }
    static std::string write(const qz::qzVariant& tree)
    {
        std::string text;
        if (qz::ext::writeJson(tree, text)) text.clear();
        return text;
    }
};

JsonRows<QzJson> gRows("qz");

}  // namespace

}  // namespace bench
