// Values of a slave's object dictionary: data types by name, and values as text in both ways.
#pragma once

#include "values.h"

namespace tarn {

struct ObjectType {
    enum class Kind { Bool, Number, String, Octets };
    const char *name;
    Kind kind = Kind::Number;
    Format format{}; // of a number

    // Bytes of one value; 0 when it has any length.
    [[nodiscard]] uint32_t size() const;
};

// Names of all types, for the help.
inline constexpr const char *kObjectTypeNames =
    "bool, int8 to int64, uint8 to uint64, float, double, string, octet_string";

// Throws UsageError. Also takes the names of kFormatNames, real32, real64 and the like.
const ObjectType &parse_object_type(const std::string &name);

// The type with this number in CANopen's list of data types; null for one that is none of ours.
const ObjectType *canopen_type(uint16_t number);

// One value, or several of a number's type. Data that does not fit the type, or no type at all, is
// shown as a number of up to 8 bytes or byte by byte.
std::string object_text(const ObjectType *type, const std::vector<uint8_t> &data);
// The same as "type", "value" and "hex", members of an object.
void object_json(const ObjectType *type, const std::vector<uint8_t> &data, Json &object);

// What was written on the command line; throws UsageError when it is no value of the type.
std::vector<uint8_t> parse_object_value(const ObjectType &type, const std::string &text);

} // namespace tarn
