// The names that MSVC gives the members of class EtherCAT.
#include "support/symbols.h"

#include <cstring>
#include <gtest/gtest.h>

namespace {

struct Alias {
    const char *name;
    const char *target;
    const char *kind;
};

const Alias kExports[] = {
#define X(name, target, kind, family, since, shown_by) {name, target, kind},
#include "exports.inc"
#undef X
};

TEST(MsvcNames, StandForTheSameFunctions) {
    int aliases = 0;
    for (const Alias &e : kExports) {
        if (std::strcmp(e.kind, "msvc") == 0) {
            EXPECT_NE(tarn::test::find_export(e.name), nullptr) << e.name;
            EXPECT_EQ(tarn::test::find_export(e.name), tarn::test::find_export(e.target)) << e.name;
            ++aliases;
        }
    }
    EXPECT_EQ(aliases, 8);
}

} // namespace
