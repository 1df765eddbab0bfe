// SPDX-License-Identifier: Apache-2.0
//
// Rows in columns, printed as they come: the first rows settle the widths, so that memory does not
// grow with the answer. On a terminal, columns are narrowed to fit and cells shortened; elsewhere
// nothing is cut, and a cell wider than its column shifts the rest of its row.
#pragma once

#include <string>
#include <vector>

#include "tools/cli/streams.h"

namespace zafo::cli {

class TableWriter {
  public:
    TableWriter(Streams &streams, std::vector<std::string> headings);

    void Row(std::vector<std::string> cells);
    void Finish();

  private:
    void Settle();
    void Print(const std::vector<std::string> &cells, bool heading);

    Streams &streams_;
    std::vector<std::string> headings_;
    std::vector<std::vector<std::string>> waiting_;
    size_t waiting_bytes_ = 0;
    std::vector<int> widths_;
    bool settled_ = false;
    bool narrow_ = false;
};

}  // namespace zafo::cli
