// SPDX-License-Identifier: Apache-2.0
#include "tools/backup/background_sha256.h"

#include <pthread.h>

#include <csignal>
#include <utility>

namespace zafo::backup {

namespace {

constexpr std::size_t kBytesAtOnce = 256U << 10;
constexpr std::size_t kMostBlocks = 8;

}  // namespace

void BackgroundSha256::Add(std::string_view bytes) {
    while (!bytes.empty()) {
        filling_.reserve(kBytesAtOnce);
        const std::string_view part = bytes.substr(0, kBytesAtOnce - filling_.size());
        filling_.append(part);
        bytes.remove_prefix(part.size());
        if (filling_.size() == kBytesAtOnce) HandOver();
    }
}

Digest BackgroundSha256::Take() {
    Finish();
    sha_.Add(filling_);
    filling_.clear();
    return sha_.Take();
}

void BackgroundSha256::HandOver() {
    if (!thread_.joinable()) Start();
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return full_.size() < kMostBlocks; });
    full_.push_back(std::move(filling_));
    filling_ = {};
    if (!empty_.empty()) {
        filling_ = std::move(empty_.back());
        empty_.pop_back();
    }
    changed_.notify_all();
}

// Signals must reach the thread that waits for slapcat.
void BackgroundSha256::Start() {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    try {
        thread_ = std::thread([this] { Work(); });
    } catch (...) {
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
        throw;
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void BackgroundSha256::Work() {
    std::unique_lock lock(mutex_);
    for (;;) {
        changed_.wait(lock, [&] { return finished_ || !full_.empty(); });
        if (full_.empty()) return;
        std::string block = std::move(full_.front());
        full_.pop_front();
        changed_.notify_all();
        lock.unlock();
        sha_.Add(block);
        block.clear();
        lock.lock();
        empty_.push_back(std::move(block));
    }
}

void BackgroundSha256::Finish() {
    if (!thread_.joinable()) return;
    {
        const std::lock_guard lock(mutex_);
        finished_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

}  // namespace zafo::backup
