#define CJSON_IMPORT_SYMBOLS // they come from the library
#include "eni_mapping.h"

#include "errors.h"
#include "text.h"

#include <pci_tarn/pci_tarn.h>

#include <cjson/cJSON.h>

#include <algorithm>
#include <memory>

namespace tarn {

namespace {

constexpr const char *kMarkers[] = {"<!-- @@##ENI_PDO_LIST##@@", "<!-- @@##ENI_INFO##@@"};
constexpr size_t kSmallestFile = 100;  // the library looks for a mapping in files from here ...
constexpr size_t kFileLimit = 5242880; // ... and below here
constexpr size_t kUnread = 4;          // last bytes of the file, which it leaves out
constexpr size_t kBlockWords = 41488 / sizeof(uint32_t); // of one direction of the mapping
constexpr uint32_t kImageBits = 65536;

struct DeleteJson {
    void operator()(cJSON *json) const { cJSON_Delete(json); }
};

class MappingChecker {
  public:
    explicit MappingChecker(const std::string &text)
        : text_(text.substr(0, text.size() > kUnread ? text.size() - kUnread : 0)),
          bytes_(text.size()) {}

    MappingReport check(const std::string &path, uint32_t slaves,
                        const std::vector<uint32_t> &output_bits,
                        const std::vector<uint32_t> &input_bits) {
        if (find_marker()) {
            check_json(slaves, output_bits, input_bits);
            ask_library(path, slaves);
        }
        return std::move(report_);
    }

  private:
    void error(std::string text) { report_.findings.push_back({true, marker_, std::move(text)}); }
    void warning(std::string text) {
        report_.findings.push_back({false, marker_, std::move(text)});
    }

    bool find_marker() {
        for (const char *marker : kMarkers) {
            const size_t found = text_.find(marker);
            if (found == std::string::npos) {
                continue;
            }
            marker_ = found;
            json_ = found + std::string(marker).size();
            if (bytes_ < kSmallestFile || bytes_ >= kFileLimit) {
                warning("the mapping comment is not used: the library reads it only in files "
                        "from 100 to 5,242,879 bytes");
                return false;
            }
            return true;
        }
        return false;
    }

    void check_json(uint32_t slaves, const std::vector<uint32_t> &output_bits,
                    const std::vector<uint32_t> &input_bits) {
        const char *begin = text_.c_str() + json_;
        const char *end = nullptr;
        const std::unique_ptr<cJSON, DeleteJson> root(cJSON_ParseWithOpts(begin, &end, 0));
        if (!root) {
            marker_ = json_ + static_cast<size_t>(end != nullptr ? end - begin : 0);
            error("the mapping comment is no JSON from here on");
            return;
        }
        if (!cJSON_IsObject(root.get())) {
            error("the JSON text of the mapping comment must be an object");
            return;
        }
        const cJSON *master = cJSON_GetObjectItemCaseSensitive(root.get(), "master");
        const cJSON *switches =
            cJSON_GetObjectItemCaseSensitive(master, "slave_logic_addr_mapping");
        const cJSON *infos = cJSON_GetObjectItemCaseSensitive(master, "slave_infos");
        if (!cJSON_IsObject(switches) || !cJSON_IsArray(infos)) {
            warning("the mapping comment is not used: master/slave_logic_addr_mapping is no "
                    "object or master/slave_infos no array");
            return;
        }
        check_count(infos, slaves);
        check_direction(switches, infos, "output", output_bits);
        check_direction(switches, infos, "input", input_bits);
    }

    void check_count(const cJSON *infos, uint32_t slaves) {
        const auto count = static_cast<uint32_t>(cJSON_GetArraySize(infos));
        if (count != slaves) {
            error("the mapping comment has " + counted(count, "slave") + ", the configuration " +
                  std::to_string(slaves));
        }
    }

    void check_direction(const cJSON *switches, const cJSON *infos, const std::string &direction,
                         const std::vector<uint32_t> &bits) {
        const cJSON *on = cJSON_GetObjectItemCaseSensitive(switches, direction.c_str());
        if (!cJSON_IsBool(on)) {
            error("slave_logic_addr_mapping/" + direction + " must be true or false");
        }
        const std::string key = direction + "_logic_addr";
        std::vector<Run> runs;
        uint32_t index = 0;
        const cJSON *info = nullptr;
        cJSON_ArrayForEach(info, infos) {
            const cJSON *address = cJSON_GetObjectItemCaseSensitive(info, key.c_str());
            const std::string place = "slave_infos[" + std::to_string(index) + "]/" + key;
            if (const std::optional<int64_t> bit = address_of(address, place)) {
                const uint32_t length = index < bits.size() ? bits[index] : 0;
                runs.push_back({static_cast<uint16_t>(*bit), length, index});
            }
            ++index;
        }
        if (cJSON_IsTrue(on)) {
            report_.used = true;
            check_runs(std::move(runs), direction);
        }
    }

    std::optional<int64_t> address_of(const cJSON *address, const std::string &place) {
        std::optional<int64_t> bit;
        if (cJSON_IsNumber(address)) {
            bit = address->valueint;
        } else if (cJSON_IsString(address)) {
            bit = std::strtoll(address->valuestring, nullptr, 0);
        } else {
            error(place + " must be a number or a text");
            return std::nullopt;
        }
        if (*bit < 0 || *bit >= kImageBits) {
            warning(place + " is " + std::to_string(*bit) + "; only its low 16 bits count");
        }
        return bit;
    }

    struct Run {
        uint32_t bit;
        uint32_t bits;
        uint32_t slave;
    };

    void check_runs(std::vector<Run> runs, const std::string &direction) {
        std::erase_if(runs, [](const Run &run) { return run.bits == 0; });
        std::stable_sort(runs.begin(), runs.end(),
                         [](const Run &a, const Run &b) { return a.bit < b.bit; });
        for (size_t i = 0; i < runs.size(); ++i) {
            const uint32_t end = runs[i].bit + runs[i].bits;
            const std::string slave = direction + "s of slave " + std::to_string(runs[i].slave);
            if (end > kImageBits) {
                warning("the " + slave + " reach past bit 65535, the end of a logical image");
            }
            if (i + 1 < runs.size() && runs[i + 1].bit < end) {
                warning("the " + slave + " and those of slave " +
                        std::to_string(runs[i + 1].slave) + " share logical addresses");
            }
        }
    }

    // The library has the last word: whatever it refuses here it refuses at the bus start.
    void ask_library(const std::string &path, uint32_t slaves) {
        std::vector<uint32_t> input(kBlockWords);
        std::vector<uint32_t> output(kBlockWords);
        const uint32_t status =
            ecat_pi_logic_addr_map_init(path.c_str(), slaves, input.data(), output.data());
        const bool explained =
            std::any_of(report_.findings.begin(), report_.findings.end(),
                        [](const MappingFinding &finding) { return finding.error; });
        if (status != PCI_TARN_OK && !explained) {
            error("the library refuses the mapping comment: " + status_text(status));
        }
        report_.used = report_.used && status == PCI_TARN_OK;
    }

    const std::string text_;
    size_t bytes_;
    size_t marker_ = 0;
    size_t json_ = 0;
    MappingReport report_;
};

} // namespace

MappingReport check_mapping(const std::string &path, const std::string &text, uint32_t slaves,
                            const std::vector<uint32_t> &output_bits,
                            const std::vector<uint32_t> &input_bits) {
    return MappingChecker(text).check(path, slaves, output_bits, input_bits);
}

} // namespace tarn
