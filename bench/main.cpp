// Benchmark driver: runs every registered case with the console reporter and
// then prints one table of paired cases. A benchmark named "<case>/ours..."
// is paired with "<case>/anchor..." (the same case run on the reference
// implementation); the ratio is ours / anchor in time, so below 1 is faster.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace {

struct Row {
  double ours_ns = -1;
  double anchor_ns = -1;
  double ours_bytes_per_second = 0;  // when the case counts bytes
};

// Splits "<case>/ours/<args>" into the case key "<case>/<args>" and the side.
bool SplitName(const std::string &name, std::string *key, bool *is_ours) {
  for (const char *side : {"/ours", "/anchor"}) {
    size_t at = name.find(side);
    if (at == std::string::npos) continue;
    size_t end = at + std::string(side).size();
    if (end != name.size() && name[end] != '/') continue;
    *key = name.substr(0, at) + name.substr(end);
    *is_ours = side[1] == 'o';
    return true;
  }
  *key = name;
  *is_ours = true;
  return false;
}

class TableReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run> &runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run &run : runs) {
      if (run.run_type == Run::RT_Aggregate && run.aggregate_name != "mean") continue;
      if (run.error_occurred) continue;
      std::string key;
      bool is_ours = true;
      // The run name leaves out an aggregate's "_mean" suffix.
      SplitName(run.run_name.str(), &key, &is_ours);
      if (rows_.find(key) == rows_.end()) order_.push_back(key);
      double ns = run.GetAdjustedRealTime() * ToNanoseconds(run.time_unit);
      (is_ours ? rows_[key].ours_ns : rows_[key].anchor_ns) = ns;
      if (auto it = run.counters.find("bytes_per_second"); is_ours && it != run.counters.end()) {
        rows_[key].ours_bytes_per_second = it->second.value;
      }
    }
  }

  void Finalize() override {
    ConsoleReporter::Finalize();
    std::printf("\n%-52s %14s %14s %8s %10s\n", "case", "ours (ns)", "anchor (ns)", "ratio",
                "ours MB/s");
    for (const std::string &key : order_) {
      const Row &row = rows_[key];
      char throughput[32] = "-";
      if (row.ours_bytes_per_second > 0) {
        std::snprintf(throughput, sizeof throughput, "%.0f", row.ours_bytes_per_second / 1e6);
      }
      if (row.anchor_ns > 0 && row.ours_ns > 0) {
        std::printf("%-52s %14.1f %14.1f %8.3f %10s\n", key.c_str(), row.ours_ns, row.anchor_ns,
                    row.ours_ns / row.anchor_ns, throughput);
      } else {
        std::printf("%-52s %14.1f %14s %8s %10s\n", key.c_str(), row.ours_ns, "-", "-", throughput);
      }
    }
  }

 private:
  static double ToNanoseconds(benchmark::TimeUnit unit) {
    switch (unit) {
      case benchmark::kSecond:
        return 1e9;
      case benchmark::kMillisecond:
        return 1e6;
      case benchmark::kMicrosecond:
        return 1e3;
      default:
        return 1.0;
    }
  }

  std::map<std::string, Row> rows_;
  std::vector<std::string> order_;
};

}  // namespace

int main(int argc, char **argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  TableReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
