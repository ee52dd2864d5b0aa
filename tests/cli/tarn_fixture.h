// The tool against a virtual card service of its own, in a folder of its own.
#pragma once

#include "support/process.h"
#include "support/temp_dir.h"

#include <cjson/cJSON.h>

#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace tarn::test {

// A JSON document that the tool printed; reading what is not there fails the test.
class JsonDocument {
  public:
    explicit JsonDocument(const std::string &text) {
        const char *end = nullptr;
        root_ = std::shared_ptr<cJSON>(cJSON_ParseWithOpts(text.c_str(), &end, 1), cJSON_Delete);
        node_ = root_.get();
        EXPECT_NE(node_, nullptr) << "no JSON document: " << text;
    }

    JsonDocument operator[](const char *key) const {
        return {root_, cJSON_GetObjectItemCaseSensitive(node_, key), key};
    }
    JsonDocument operator[](int index) const {
        return {root_, cJSON_GetArrayItem(node_, index), "element"};
    }
    bool has(const char *key) const {
        return cJSON_GetObjectItemCaseSensitive(node_, key) != nullptr;
    }
    int size() const { return cJSON_GetArraySize(node_); }
    bool is_array() const { return cJSON_IsArray(node_) != 0; }
    bool is_null() const { return cJSON_IsNull(node_) != 0; }
    bool is_true() const { return cJSON_IsTrue(node_) != 0; }
    bool is_false() const { return cJSON_IsFalse(node_) != 0; }
    double number() const { return cJSON_IsNumber(node_) != 0 ? node_->valuedouble : -1e99; }
    std::string text() const { return cJSON_IsString(node_) != 0 ? node_->valuestring : "?"; }

  private:
    JsonDocument(std::shared_ptr<cJSON> root, cJSON *node, const char *what)
        : root_(std::move(root)), node_(node) {
        EXPECT_NE(node_, nullptr) << "no " << what;
    }

    std::shared_ptr<cJSON> root_;
    cJSON *node_;
};

// No card; the folder is entered and holds the process image file.
class TarnTool : public testing::Test {
  protected:
    TarnTool() {
        std::filesystem::create_directory(runtime());
        std::filesystem::permissions(runtime(), std::filesystem::perms::owner_all);
    }

    std::filesystem::path runtime() const { return folder_.path() / "run"; }
    std::filesystem::path file(const std::string &name) const { return folder_.path() / name; }

    ProcessOptions options() const {
        ProcessOptions options;
        options.environment[kRuntimeVariable] = runtime().string();
        return options;
    }

    // Arguments in one text, separated by blanks.
    static std::vector<std::string> words(const std::string &text) {
        std::istringstream stream(text);
        std::vector<std::string> result;
        for (std::string word; stream >> word;) {
            result.push_back(word);
        }
        return result;
    }

    ProcessResult tarn(const std::string &arguments, const std::string &input = {}) const {
        ProcessOptions with_input = options();
        with_input.input = input;
        return run_program(program_path("tarn"), words(arguments), with_input);
    }
    ProcessResult vcard(const std::string &arguments) const {
        return run_program(program_path("tarn-vcard"), words(arguments), options());
    }

    // What a command prints when it must succeed.
    std::string out(const std::string &arguments, const std::string &input = {}) const {
        const ProcessResult result = tarn(arguments, input);
        EXPECT_EQ(result.status, 0) << "tarn " << arguments << "\n" << result.out << result.err;
        return result.out;
    }
    JsonDocument json(const std::string &arguments) const {
        return JsonDocument(out(arguments + " --json"));
    }

    // The document of a command, asked for until it is as wanted: what happens within a given time
    // may be nothing when the machine is busy.
    template <typename Wanted>
    JsonDocument json_when(const std::string &arguments, Wanted wanted) const {
        JsonDocument document = json(arguments);
        EXPECT_TRUE(eventually([&] {
            if (wanted(document)) {
                return true;
            }
            document = json(arguments);
            return false;
        })) << "tarn "
            << arguments;
        return document;
    }

    // A failure or a usage error with this text on standard error; with --json the document on
    // standard output carries an error as well.
    void expect_end(const std::string &arguments, int status, const std::string &text) const {
        const ProcessResult result = tarn(arguments);
        EXPECT_EQ(result.status, status) << "tarn " << arguments << "\n" << result.out;
        EXPECT_THAT(result.err, testing::HasSubstr(text)) << "tarn " << arguments;
        const ProcessResult with_json = tarn(arguments + " --json");
        EXPECT_EQ(with_json.status, status) << "tarn " << arguments << " --json";
        EXPECT_TRUE(JsonDocument(with_json.out).has("error")) << with_json.out;
    }
    void expect_failure(const std::string &arguments, const std::string &text) const {
        expect_end(arguments, 1, text);
    }
    void expect_usage_error(const std::string &arguments, const std::string &text) const {
        expect_end(arguments, 2, text);
    }

    void write_file(const std::string &name, const std::string &text) const {
        std::ofstream stream(file(name), std::ios::binary);
        stream << text;
    }
    std::string read_file(const std::string &name) const {
        std::ifstream stream(file(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }

    TempDir folder_;
};

// A running service with the card tarn0 and no ENI file.
class TarnWithBoard : public TarnTool {
  protected:
    explicit TarnWithBoard(const std::string &options = "") {
        EXPECT_EQ(vcard("start " + options).status, 0);
    }
    ~TarnWithBoard() override { vcard("stop"); }
};

// A running service with the cards tarn0 and tarn1, and ENI files for a coupler, a drive and
// digital I/O: cell.xml with logical addresses in reverse order, plain.xml without mapping.
class TarnWithCard : public TarnTool {
  protected:
    TarnWithCard() {
        const std::string slaves = " --slave coupler --slave drive --slave dio16:2 --slave di8";
        EXPECT_EQ(vcard("start --cards 2 --each start-ms=30").status, 0);
        EXPECT_EQ(vcard("make-eni -o cell.xml --mapping --reversed" + slaves).status, 0);
        EXPECT_EQ(vcard("make-eni -o plain.xml" + slaves).status, 0);
    }
    ~TarnWithCard() override { vcard("stop"); }

    // Until a command prints a text: the bus needs some cycles for what was written.
    testing::AssertionResult prints_soon(const std::string &arguments, const std::string &text) {
        std::string last;
        const bool seen = eventually([&] {
            last = out(arguments);
            return last.find(text) != std::string::npos;
        });
        return seen ? testing::AssertionSuccess()
                    : testing::AssertionFailure() << "tarn " << arguments << " printed " << last;
    }
};

// The same with the bus of cell.xml running.
class TarnOnBus : public TarnWithCard {
  protected:
    TarnOnBus() { out("start cell.xml"); }
};

} // namespace tarn::test
