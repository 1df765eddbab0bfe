// SPDX-License-Identifier: Apache-2.0
#include "tools/cli/json_document.h"

#include <fmt/format.h>

#include "tools/cli/display_text.h"

namespace zafo::cli {

std::string JsonText(const Json &value) {
    return EscapedInJson(value.dump(-1, ' ', false, Json::error_handler_t::replace));
}

void JsonDocument::Whole(const Json &data, bool ok, bool complete) {
    state_ = State::kDone;
    streams_.Out(fmt::format(R"({{"schema":1,"ok":{},"complete":{},"data":{}}})", ok, complete,
                             JsonText(data)));
    streams_.Out("\n");
}

void JsonDocument::OpenArray() {
    state_ = State::kArray;
    streams_.Out(R"({"schema":1,"data":[)");
}

void JsonDocument::Element(std::string_view json_text) {
    streams_.Out(first_ ? "\n" : ",\n");
    first_ = false;
    streams_.Out(json_text);
}

void JsonDocument::CloseArray(bool ok, bool complete) {
    state_ = State::kDone;
    streams_.Out(
        fmt::format("{}],\"complete\":{},\"ok\":{}}}\n", first_ ? "" : "\n", complete, ok));
}

void JsonDocument::Fail() {
    if (state_ == State::kArray) CloseArray(/*ok=*/false, /*complete=*/false);
    if (state_ == State::kNothing) Whole(nullptr, /*ok=*/false, /*complete=*/false);
}

}  // namespace zafo::cli
