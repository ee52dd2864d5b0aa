// What the system says of the test's own process, and what it is told there.
#pragma once

#include <cstddef>
#include <filesystem>

namespace tarn::test {

// What the process has open: files, sockets, events, mappings.
size_t open_handles();

// Whether the process has this file open. On Windows: whether any process has.
bool has_open(const std::filesystem::path &file);

// Memory of the process that lies in RAM, in bytes.
size_t resident_bytes();

// False when a touch of this byte would be a fault.
bool is_mapped(const void *address);

// Whether every system call takes many times as long as usual: under Wine, where most are a message
// to another process.
bool system_calls_are_slow();

// Sets the local time zone, in the form of the environment variable TZ. Rules for the days on which
// summer time begins and ends are known on Linux only.
void set_time_zone(const char *zone);

} // namespace tarn::test
