// SPDX-License-Identifier: Apache-2.0
#include "bench/recording.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <list>

#include "bench/floor.h"
#include "bench/places.h"
#include "bench/stand_in.h"

namespace zafo::bench {

namespace fs = std::filesystem;

namespace {

std::string ContentOf(const fs::path &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::string> SplitAtZeros(const std::string &text) {
    std::vector<std::string> words;
    for (size_t at = 0; at < text.size(); at += words.back().size() + 1)
        words.emplace_back(text.c_str() + at);
    return words;
}

bool IsChangeOption(const std::string &word) {
    return word == "-f" || word == "-l";
}

}  // namespace

std::vector<ToolRun> Record(const std::vector<std::string> &tools,
                            const std::function<void()> &work) {
    fs::remove_all(kRecorded);
    fs::create_directory(kRecorded);
    {
        std::list<StandIn> stand_ins;
        for (const std::string &tool : tools)
            stand_ins.emplace_back(tool.starts_with("/") ? tool : "/usr/zafo/bin/" + tool,
                                   kRecorder);
        work();
    }
    std::vector<ToolRun> runs;
    for (int i = 0; fs::exists(fs::path(kRecorded) / std::to_string(i)); ++i) {
        const fs::path folder = fs::path(kRecorded) / std::to_string(i);
        runs.push_back({SplitAtZeros(ContentOf(folder / "words")), ContentOf(folder / "change")});
    }
    return runs;
}

void WriteChange(const ToolRun &run) {
    const auto option = std::find_if(run.words.begin(), run.words.end(), IsChangeOption);
    if (option == run.words.end()) return;
    std::ofstream(option[1]) << run.change;
}

int RunAgain(const ToolRun &run) {
    std::vector<std::string> words = run.words;
    std::vector<char *> argv;
    for (std::string &word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    floor_count count{};
    return floor_run(argv.data(), &count);
}

}  // namespace zafo::bench
