// Runs all comparisons interleaved and prints "ours / reference / ratio / goal". The same rows go
// as JSON into the file that --json=FILE names.
#include "bench/goals.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>
#include <vector>

namespace tarn::bench {

namespace {

struct GoalRow {
    Goal goal;
    double value;
};

std::map<std::string, GoalRow> &goals() {
    static std::map<std::string, GoalRow> all;
    return all;
}

std::vector<std::string> &order() {
    static std::vector<std::string> all;
    return all;
}

// Collects the median of each benchmark.
class MedianReporter : public benchmark::BenchmarkReporter {
  public:
    bool ReportContext(const Context &) override { return true; }

    void ReportRuns(const std::vector<Run> &runs) override {
        for (const Run &run : runs) {
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median") {
                const bool real = run.run_name.time_type == "real_time";
                const double time = real ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime();
                medians_[run.run_name.function_name] = time;
            }
        }
    }

    [[nodiscard]] bool find(const std::string &name, double *ns) const {
        const auto found = medians_.find(name);
        if (found == medians_.end()) {
            return false;
        }
        *ns = found->second;
        return true;
    }

  private:
    std::map<std::string, double> medians_;
};

struct Row {
    std::string name;
    double ours;
    double reference;
    double ratio;
    GoalRow goal;
    [[nodiscard]] bool reached() const {
        return goal.goal == Goal::SpeedAtLeast ? ratio >= goal.value : ratio <= goal.value;
    }
    [[nodiscard]] const char *sign() const { return goal.goal == Goal::SpeedAtLeast ? ">=" : "<="; }
};

std::vector<Row> rows_of(const MedianReporter &reporter) {
    std::vector<Row> rows;
    for (const std::string &name : order()) {
        const GoalRow goal = goals()[name];
        double ours = 0;
        double reference = 0;
        if (reporter.find(name + "/ours", &ours) &&
            reporter.find(name + "/reference", &reference)) {
            const double ratio =
                goal.goal == Goal::SpeedAtLeast ? reference / ours : ours / reference;
            rows.push_back({name, ours, reference, ratio, goal});
        }
    }
    return rows;
}

void print_rows(const std::vector<Row> &rows) {
    std::printf("%-44s %12s %12s %8s  %s\n", "comparison", "ours ns", "reference ns", "ratio",
                "goal");
    double product = 0;
    int in_product = 0;
    for (const Row &row : rows) {
        std::printf("%-44s %12.1f %12.1f %8.2f  %s %.2f%s\n", row.name.c_str(), row.ours,
                    row.reference, row.ratio, row.sign(), row.goal.value,
                    row.reached() ? "" : "   short of the goal");
        if (row.name.rfind("memcpy_fast small/", 0) == 0) {
            product += std::log(row.ratio);
            ++in_product;
        }
    }
    if (in_product != 0) {
        const double mean = std::exp(product / in_product);
        std::printf("%-44s %12s %12s %8.2f  >= 0.95%s\n", "memcpy_fast small, geometric mean", "",
                    "", mean, mean >= 0.95 ? "" : "   short of the goal");
    }
}

void write_json(const std::vector<Row> &rows, const char *path) {
    std::FILE *file = std::fopen(path, "w");
    if (file == nullptr) {
        std::perror(path);
        return;
    }
    std::fprintf(file, "[\n");
    for (size_t i = 0; i < rows.size(); ++i) {
        const Row &row = rows[i];
        std::fprintf(file,
                     "  {\"name\": \"%s\", \"ours_ns\": %.3f, \"reference_ns\": %.3f, "
                     "\"ratio\": %.4f, \"goal\": \"%s %.2f\", \"reached\": %s}%s\n",
                     row.name.c_str(), row.ours, row.reference, row.ratio, row.sign(),
                     row.goal.value, row.reached() ? "true" : "false",
                     i + 1 < rows.size() ? "," : "");
    }
    std::fprintf(file, "]\n");
    std::fclose(file);
}

} // namespace

void set_goal(const std::string &name, Goal goal, double value) {
    goals()[name] = {goal, value};
    order().push_back(name);
}

int run(int argc, char **argv) {
    const char *json = nullptr;
    bool scale = true;
    std::vector<char *> arguments = {argv[0]};
    char interleave[] = "--benchmark_enable_random_interleaving=true";
    char repeat[] = "--benchmark_repetitions=9";
    char aggregates[] = "--benchmark_report_aggregates_only=true";
    char time[] = "--benchmark_min_time=0.03";
    arguments.insert(arguments.end(), {interleave, repeat, aggregates, time});
    for (int i = 1; i < argc; ++i) {
        if (std::strncmp(argv[i], "--json=", 7) == 0) {
            json = argv[i] + 7;
        } else if (std::strcmp(argv[i], "--no-scale") == 0) {
            scale = false;
        } else {
            arguments.push_back(argv[i]);
        }
    }
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());

    register_memory();
    register_bits();
    register_locks();
    register_card();

    MedianReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    const std::vector<Row> rows = rows_of(reporter);
    print_rows(rows);
    if (json != nullptr) {
        write_json(rows, json);
    }
    if (scale) {
        print_scale();
    }
    return 0;
}

} // namespace tarn::bench

int main(int argc, char **argv) {
    return tarn::bench::run(argc, argv);
}
