#include "object_value.h"

#include "errors.h"
#include "text.h"

#include <algorithm>

namespace tarn {

namespace {

using Kind = ObjectType::Kind;
constexpr Format::Kind kUnsigned = Format::Kind::Unsigned;
constexpr Format::Kind kSigned = Format::Kind::Signed;
constexpr Format::Kind kFloat = Format::Kind::Float;

constexpr ObjectType kTypes[] = {
    {"bool", Kind::Bool},
    {"int8", Kind::Number, {kSigned, 8}},
    {"int16", Kind::Number, {kSigned, 16}},
    {"int32", Kind::Number, {kSigned, 32}},
    {"int64", Kind::Number, {kSigned, 64}},
    {"uint8", Kind::Number, {kUnsigned, 8}},
    {"uint16", Kind::Number, {kUnsigned, 16}},
    {"uint32", Kind::Number, {kUnsigned, 32}},
    {"uint64", Kind::Number, {kUnsigned, 64}},
    {"float", Kind::Number, {kFloat, 32}},
    {"double", Kind::Number, {kFloat, 64}},
    {"string", Kind::String},
    {"octet_string", Kind::Octets},
};

// Names under which other tools and this one's process data commands know the types.
constexpr struct {
    const char *name;
    const char *type;
} kOtherNames[] = {
    {"boolean", "bool"},     {"i8", "int8"},
    {"i16", "int16"},        {"i32", "int32"},
    {"i64", "int64"},        {"u8", "uint8"},
    {"u16", "uint16"},       {"u32", "uint32"},
    {"u64", "uint64"},       {"f32", "float"},
    {"real32", "float"},     {"f64", "double"},
    {"real64", "double"},    {"visible_string", "string"},
    {"raw", "octet_string"}, {"octets", "octet_string"},
};

const ObjectType *type_named(const std::string &name) {
    for (const auto &other : kOtherNames) {
        if (name == other.name) {
            return type_named(other.type);
        }
    }
    const auto *found = std::find_if(std::begin(kTypes), std::end(kTypes),
                                     [&](const ObjectType &type) { return name == type.name; });
    return found != std::end(kTypes) ? found : nullptr;
}

BitData bits_of(const std::vector<uint8_t> &data) {
    return {data, static_cast<uint32_t>(data.size() * 8)};
}

bool fits(const ObjectType *type, size_t size) {
    return type != nullptr &&
           (type->size() == 0 || (type->kind == Kind::Bool ? size == 1 : size % type->size() == 0));
}

// Slaves pad texts with zeros.
std::string text_of(const std::vector<uint8_t> &data) {
    const auto end = std::find(data.begin(), data.end(), uint8_t{0});
    return printable(std::string(data.begin(), end));
}

// As hands know it: hexadecimal, then decimal.
std::string integer_text(const Format &format, const BitData &value) {
    const Format hexadecimal{Format::Kind::Hex};
    return show(hexadecimal, value, true, 0)[0] + " " + show(format, value, true, 0)[0];
}

std::string number_text(const Format &format, const std::vector<uint8_t> &data) {
    const bool one = data.size() * 8 == format.bits;
    return one && format.kind != kFloat ? integer_text(format, bits_of(data))
                                        : show(format, bits_of(data), true, 0)[0];
}

std::string untyped_text(const std::vector<uint8_t> &data) {
    constexpr size_t kNumber = 8;
    if (data.size() > kNumber) {
        return hex(data, true);
    }
    return integer_text({kUnsigned, static_cast<uint32_t>(data.size() * 8)}, bits_of(data));
}

[[noreturn]] void bad_value(const std::string &text, const std::string &why) {
    throw UsageError("\"" + printable(text) + "\" " + why);
}

} // namespace

uint32_t ObjectType::size() const {
    return kind == Kind::Number ? format.bits / 8 : kind == Kind::Bool ? 1 : 0;
}

const ObjectType &parse_object_type(const std::string &name) {
    const ObjectType *type = type_named(name);
    if (type == nullptr) {
        bad_value(name, std::string("is no type: ") + kObjectTypeNames);
    }
    return *type;
}

const ObjectType *canopen_type(uint16_t number) {
    static constexpr struct {
        uint16_t number;
        const char *name;
    } kNumbers[] = {{1, "bool"},     {2, "int8"},          {3, "int16"},     {4, "int32"},
                    {5, "uint8"},    {6, "uint16"},        {7, "uint32"},    {8, "float"},
                    {9, "string"},   {10, "octet_string"}, {0x11, "double"}, {0x15, "int64"},
                    {0x1B, "uint64"}};
    for (const auto &known : kNumbers) {
        if (known.number == number) {
            return type_named(known.name);
        }
    }
    return nullptr;
}

std::string object_text(const ObjectType *type, const std::vector<uint8_t> &data) {
    if (data.empty()) {
        return "(empty)";
    }
    if (!fits(type, data.size())) {
        return untyped_text(data);
    }
    switch (type->kind) {
    case Kind::Bool:
        return data[0] != 0 ? "true" : "false";
    case Kind::Number:
        return number_text(type->format, data);
    case Kind::String:
        return text_of(data);
    default:
        return hex(data, true);
    }
}

void object_json(const ObjectType *type, const std::vector<uint8_t> &data, Json &object) {
    object.set("type", type != nullptr ? Json(type->name) : Json());
    if (data.empty() || !fits(type, data.size()) || type->kind == Kind::Octets) {
        object.set("hex", hex(data, false));
    } else if (type->kind == Kind::Bool) {
        object.set("value", data[0] != 0).set("hex", hex(data, false));
    } else if (type->kind == Kind::String) {
        object.set("value", text_of(data)).set("hex", hex(data, false));
    } else {
        std::vector<Json> values = values_json(type->format, bits_of(data));
        if (values.size() == 1) {
            object.set("value", std::move(values[0]));
        } else {
            Json list = Json::array();
            for (Json &value : values) {
                list.add(std::move(value));
            }
            object.set("values", std::move(list));
        }
        object.set("hex", hex(data, false));
    }
}

std::vector<uint8_t> parse_object_value(const ObjectType &type, const std::string &text) {
    switch (type.kind) {
    case Kind::Bool: {
        if (text != "0" && text != "1" && text != "true" && text != "false") {
            bad_value(text, "is no bool: 0, 1, true or false");
        }
        return {static_cast<uint8_t>(text == "1" || text == "true")};
    }
    case Kind::Number:
        return parse_values(type.format, {text}, 0).bytes;
    case Kind::String:
        return {text.begin(), text.end()};
    default:
        return parse_values({Format::Kind::Hex}, {text}, 0).bytes;
    }
}

} // namespace tarn
