#define CJSON_IMPORT_SYMBOLS // they come from the library
#include "json.h"

#include "text.h"

#include <cjson/cJSON.h>

#include <cmath>
#include <new>

namespace tarn {

void Json::Delete::operator()(cJSON *node) const {
    cJSON_Delete(node);
}

Json::Json(cJSON *node) : node_(node) {
    if (node == nullptr) {
        throw std::bad_alloc();
    }
}

Json::Json(std::nullptr_t) : Json(cJSON_CreateNull()) {}
Json::Json(bool value) : Json(cJSON_CreateBool(value)) {}
Json::Json(double value)
    : Json(std::isfinite(value) ? cJSON_CreateNumber(value) : cJSON_CreateNull()) {}
Json::Json(std::string_view text) : Json(cJSON_CreateString(printable(text).c_str())) {}
Json::Json(Raw, const std::string &text) : Json(cJSON_CreateRaw(text.c_str())) {}

Json Json::object() {
    return Json(cJSON_CreateObject());
}

Json Json::array() {
    return Json(cJSON_CreateArray());
}

Json &Json::set(const char *key, Json value) & {
    cJSON_AddItemToObject(node_.get(), key, value.node_.release());
    return *this;
}

Json &Json::add(Json value) & {
    cJSON_AddItemToArray(node_.get(), value.node_.release());
    return *this;
}

namespace {

std::string taken(char *text) {
    if (text == nullptr) {
        throw std::bad_alloc();
    }
    std::string result(text);
    cJSON_free(text);
    return result;
}

} // namespace

std::string Json::text() const {
    return taken(cJSON_Print(node_.get()));
}

std::string Json::one_line() const {
    return taken(cJSON_PrintUnformatted(node_.get()));
}

} // namespace tarn
