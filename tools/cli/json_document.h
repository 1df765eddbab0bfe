// SPDX-License-Identifier: Apache-2.0
//
// The one JSON object that a command prints with --json, whatever happens:
// {"schema":1,"ok":…,"complete":…,"data":…}. A long answer is written element by element, with
// "complete" and "ok" at the end.
#pragma once

#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "tools/cli/streams.h"

namespace zafo::cli {

using Json = nlohmann::ordered_json;

inline Json TextOrNull(std::string_view text) {
    return text.empty() ? Json() : Json(text);
}

// A JSON value as text, with invisible characters as \uNNNN; invalid UTF-8 bytes become U+FFFD.
std::string JsonText(const Json &value);

class JsonDocument {
  public:
    explicit JsonDocument(Streams &streams) : streams_(streams) {}

    void Whole(const Json &data, bool ok = true, bool complete = true);

    void OpenArray();
    void Element(std::string_view json_text);
    void CloseArray(bool ok, bool complete);

    // After a failure: closes what is open, or prints the object without data.
    void Fail();

  private:
    enum class State { kNothing, kArray, kDone };

    Streams &streams_;
    State state_ = State::kNothing;
    bool first_ = true;
};

}  // namespace zafo::cli
