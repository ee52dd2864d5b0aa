// Every name of the list of exports can be found in the library at run time, and cJSON can be used
// through it alone.
#include "pci_tarn/pci_tarn.h"
#include "support/symbols.h"

#include <cjson/cJSON.h>
#include <cjson/cJSON_Utils.h>
#include <gtest/gtest.h>
#include <string>

namespace {

struct Export {
    const char *name;
    const char *target; // the name itself, or what an alias stands for
    const char *kind;
    const char *family;
    const char *since;
    const char *shown_by;
};

const Export kExports[] = {
#define X(name, target, kind, family, since, shown_by)                                             \
    {name, target, kind, family, since, shown_by},
#include "exports.inc"
#undef X
};

TEST(Exports, EveryListedNameIsFoundAtRunTime) {
    for (const Export &e : kExports) {
        EXPECT_NE(tarn::test::find_export(e.name), nullptr) << e.name;
    }
}

TEST(Exports, NamesThatAreNotListedAreNotFound) {
    EXPECT_EQ(tarn::test::find_export("EcatNoSuchFunction"), nullptr);
    EXPECT_EQ(tarn::test::find_export("_ZN4tarn8transactEv"), nullptr);
}

TEST(Exports, DataOfALinkedProgramIsWhatTheLibraryWorksOn) {
    ASSERT_NE(mailbox_mutex[3][0][1], nullptr);
    EXPECT_EQ(mailbox_mutex[3][0][1], getMutex_mailbox(3, 0, 1));
    EXPECT_EQ(sock_mutex[15][1][0], getMutex_sock(15, 1, 0));
    EXPECT_EQ(pi_mutex[7][1][4], getMutex_pi(7, 1, 4));
    EXPECT_EQ(getSharedMemory_pishadowinput(0, 0), static_cast<uint8_t *>(__pi_shared_memory) + 8);
    EXPECT_EQ(__proc_id, 1U);
}

// This program links against the library only; that it starts shows the link-time half.
TEST(Exports, CJsonIsReachableThroughTheLibraryAlone) {
    int functions = 0;
    for (const Export &e : kExports) {
        if (std::string(e.family) == "cjson") {
            EXPECT_NE(tarn::test::find_export(e.name), nullptr) << e.name;
            ++functions;
        }
    }
    EXPECT_GT(functions, 80);

    cJSON *root = cJSON_Parse(R"({"master":{"slave_infos":[1,2,3]}})");
    ASSERT_NE(root, nullptr);
    cJSON *second = cJSONUtils_GetPointer(root, "/master/slave_infos/1");
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(second->valueint, 2);
    char *text = cJSON_PrintUnformatted(root);
    EXPECT_STREQ(text, R"({"master":{"slave_infos":[1,2,3]}})");
    cJSON_free(text);
    cJSON_Delete(root);
}

} // namespace
