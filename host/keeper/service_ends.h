// SPDX-License-Identifier: Apache-2.0
//
// The record of a service ending by itself: "/run/zafo-service/NAME.ends", writable by root,
// readable by everybody, with the key=value lines
//   count      how often, since the machine was started
//   first      when the first time was, in seconds since 1970
//   last       when the last time was
//   lived      how many seconds the service had run then
//   signal     which signal ended it then, or
//   exit_code  which exit code it ended with
#pragma once

#include <chrono>
#include <ctime>
#include <string>

namespace zafo {

struct ServiceEnd {
    int wait_status = 0;
    std::chrono::seconds lived{0};
    std::time_t when = 0;
};

std::string EndsOfService(const std::string &name);

// Adds an end to the record. False when the file cannot be written.
bool RememberEnd(const std::string &path, const ServiceEnd &end);

// Whether a process ended because it was asked to: with exit code 0, or by a signal that asks.
bool IsOrderly(int wait_status);

// "ended by signal 11 (Segmentation fault)"
std::string EndInWords(int wait_status);

}  // namespace zafo
