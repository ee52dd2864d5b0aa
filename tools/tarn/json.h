// JSON documents for --json, on the cJSON that the library carries.
#pragma once

#include <concepts>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

struct cJSON;

namespace tarn {

class Json {
  public:
    Json() : Json(nullptr) {} // null
    Json(std::nullptr_t);
    Json(bool value);
    Json(double value);
    Json(std::string_view text);
    Json(const std::string &text) : Json(std::string_view(text)) {}
    Json(const char *text) : Json(std::string_view(text)) {}
    // All digits are kept, those beyond 2^53 as well.
    template <std::integral T>
    Json(T value) : Json(Raw{}, std::to_string(value)) {}

    static Json object();
    static Json array();

    Json &set(const char *key, Json value) &; // of an object
    Json &&set(const char *key, Json value) && { return std::move(set(key, std::move(value))); }
    Json &add(Json value) &; // to an array
    Json &&add(Json value) && { return std::move(add(std::move(value))); }

    [[nodiscard]] std::string text() const;     // several lines
    [[nodiscard]] std::string one_line() const; // without blanks

  private:
    struct Raw {};
    Json(Raw, const std::string &text);
    explicit Json(cJSON *node);
    struct Delete {
        void operator()(cJSON *node) const;
    };
    std::unique_ptr<cJSON, Delete> node_;
};

} // namespace tarn
