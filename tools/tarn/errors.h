// How a command fails: with a status of the library or without one, always with what to try next.
#pragma once

#include "json.h"

#include <cstdint>
#include <exception>
#include <string>

namespace tarn {

// Exit statuses of the tool.
enum Exit { kSuccess = 0, kFailure = 1, kUsage = 2 };

class Failure : public std::exception {
  public:
    // A status of the library or the card; an empty hint takes the one of the status.
    Failure(uint32_t status, std::string what, const std::string &hint = {});
    // Something that has no status.
    explicit Failure(std::string what, std::string hint = {});

    [[nodiscard]] const char *what() const noexcept override { return line_.c_str(); }
    [[nodiscard]] uint32_t status() const { return status_; }
    [[nodiscard]] const std::string &reason() const { return what_; } // without status and hint
    [[nodiscard]] Json json() const;

  private:
    uint32_t status_ = 0;
    std::string what_;
    std::string hint_;
    std::string line_; // "text (code): what; hint"
};

// Wrong use of the command line that only shows after parsing.
class UsageError : public std::exception {
  public:
    explicit UsageError(std::string text) : text_(std::move(text)) {}
    [[nodiscard]] const char *what() const noexcept override { return text_.c_str(); }

  private:
    std::string text_;
};

// Throws when the status is not 0.
void check(uint32_t status, const std::string &what);

// Whether the card itself gave no answer, so that asking on is useless.
bool no_answer(uint32_t status);

// "text (code)", as in "Device not find (80004)".
std::string status_text(uint32_t status);

// What to try next; empty when there is nothing to say.
std::string hint_of(uint32_t status);

} // namespace tarn
