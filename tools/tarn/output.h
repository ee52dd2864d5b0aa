// Results on standard output, as text or as one JSON document; everything else on standard error.
#pragma once

#include "errors.h"
#include "json.h"

#include <cstdio>
#include <string>
#include <vector>

namespace tarn {

// Columns are as wide as their widest cell; the last one is not padded.
class Table {
  public:
    explicit Table(std::vector<std::string> header) : rows_{std::move(header)} {}
    void add(std::vector<std::string> row) { rows_.push_back(std::move(row)); }
    [[nodiscard]] std::string text() const;

  private:
    std::vector<std::vector<std::string>> rows_;
};

class Output {
  public:
    explicit Output(FILE *results) : results_(results) {}

    void use_json(bool on) { json_ = on; }
    [[nodiscard]] bool json() const { return json_; }
    [[nodiscard]] FILE *stream() const { return results_; }

    // Throw Failure when it cannot be written. What comes after that is dropped without a word.
    void text(const std::string &text) const; // as it is
    void line(const std::string &text) const; // with a line end
    void document(const Json &json) const;

    // "name   value" lines that belong together.
    void field(const char *name, const std::string &value) const;

    // On standard error.
    static void warning(const std::string &text);
    static void error(const std::string &text);

  private:
    FILE *results_;
    bool json_ = false;
};

} // namespace tarn
