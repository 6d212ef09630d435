// SPDX-License-Identifier: MIT
#include "Harness.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <stdexcept>

namespace Tessaly::Benchmarks {
namespace {

std::vector<Facility*>& facilities() {
  static std::vector<Facility*> all;
  return all;
}

/// Returns the runs of Google Benchmark to the caller instead of printing them.
class Collector final : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override { runs_.insert(runs_.end(), runs.begin(), runs.end()); }

  [[nodiscard]] const std::vector<Run>& runs() const { return runs_; }

 private:
  std::vector<Run> runs_;
};

/// Runs all registered benchmarks once, in the order of their registration.
std::vector<benchmark::BenchmarkReporter::Run> runOnce(std::size_t expected) {
  Collector collector;
  benchmark::RunSpecifiedBenchmarks(&collector, ".");
  if (collector.runs().size() != expected) throw std::logic_error("Google Benchmark did not run every side");
  return collector.runs();
}

/// The value below which this share of the values lies, by linear interpolation.
double quantile(std::vector<double> values, double share) {
  std::ranges::sort(values);
  const double position = share * static_cast<double>(values.size() - 1);
  const auto lower = static_cast<std::size_t>(position);
  const std::size_t upper = std::min(lower + 1, values.size() - 1);
  return values[lower] + (position - static_cast<double>(lower)) * (values[upper] - values[lower]);
}

std::string verdict(double nanoseconds, std::optional<double> bar) {
  if (!bar) return "";
  if (nanoseconds <= *bar) return fmt::format("{:.1f} reached", *bar);
  return fmt::format("{:.1f} missed by {:.0f} %", *bar, (nanoseconds / *bar - 1) * 100);
}

std::string quoted(const std::string& text) {
  std::string result = "\"";
  for (const char character : text) {
    if (character == '"' || character == '\\') result += '\\';
    result += character;
  }
  return result + '"';
}

}  // namespace

Facility::Facility(std::string name, void (*declareRows)(Facility&))
    : name_(std::move(name)), declareRows_(declareRows) {
  facilities().push_back(this);
}

std::vector<const Row*> declaredRows() {
  std::ranges::sort(facilities(), {}, [](const Facility* facility) { return facility->name_; });
  std::vector<const Row*> rows;
  for (Facility* facility : facilities()) {
    facility->declareRows_(*facility);
    for (const Row& row : facility->rows_) {
      const auto isBar = [&](const Row::Peer& peer) { return peer.name == row.peerAsBar(); };
      if (!row.oursSide() || row.peers().empty() ||
          (!row.peerAsBar().empty() && std::ranges::none_of(row.peers(), isBar))) {
        throw std::logic_error(fmt::format("{}/{} lacks a side", row.facility(), row.operation()));
      }
      rows.push_back(&row);
    }
  }
  return rows;
}

std::optional<double> Measurement::bar() const {
  if (row->bar()) return row->bar();
  for (const auto& peer : peers) {
    if (peer.name == row->peerAsBar()) return peer.nanoseconds;
  }
  return std::nullopt;
}

// Google Benchmark interleaves its own repetitions at random, so one side may have most of the early ones. Here each
// side runs once a round with a fixed number of iterations. So every repetition of ours is right beside one of each
// peer.
Measurement measure(const Row& row, const Options& options) {
  std::vector<std::pair<std::string, const Row::Side*>> sides{{"ours", &row.oursSide()}};
  for (const auto& peer : row.peers()) sides.emplace_back(peer.name, &peer.side);

  const auto registerSide = [&](std::size_t index) {
    return benchmark::RegisterBenchmark(sides[index].first.c_str(),
                                        [side = sides[index].second](benchmark::State& state) { (*side)(state); })
        ->UseRealTime();
  };

  for (std::size_t i = 0; i < sides.size(); ++i) registerSide(i)->MinTime(options.secondsPerRepetition);
  // A first call that makes a cache, or during which the machine pauses, may look like an operation of 10 ms.
  const auto first = runOnce(sides.size());
  const auto second = runOnce(sides.size());
  benchmark::ClearRegisteredBenchmarks();

  for (std::size_t i = 0; i < sides.size(); ++i) {
    registerSide(i)->Iterations(std::max(first[i].iterations, second[i].iterations));
  }
  std::vector<std::vector<double>> figures(sides.size());
  for (int round = 0; round < options.repetitions; ++round) {
    const auto runs = runOnce(sides.size());
    for (std::size_t i = 0; i < sides.size(); ++i) {
      const double operations = static_cast<double>(runs[i].iterations) * static_cast<double>(row.operationsPerCall());
      const double seconds = row.isInProcessorTime() ? runs[i].cpu_accumulated_time : runs[i].real_accumulated_time;
      figures[i].push_back(seconds * 1e9 / operations);
    }
  }
  benchmark::ClearRegisteredBenchmarks();

  Measurement result{&row, quantile(figures[0], options.quantile), {}};
  for (std::size_t i = 1; i < sides.size(); ++i)
    result.peers.push_back({sides[i].first, quantile(figures[i], options.quantile)});
  return result;
}

std::string table(const std::vector<Measurement>& measurements, TableStyle style) {
  using Line = std::array<std::string, 7>;
  std::vector<Line> lines{{"facility", "operation", "ours ns", "peer", "peer ns", "ratio", "bar ns"}};
  constexpr std::array isNumber{false, false, true, false, true, true, false};
  if (style == TableStyle::markdown) lines.push_back({"---", "---", "---:", "---", "---:", "---:", "---"});
  for (const auto& measurement : measurements) {
    bool isFirst = true;
    for (const auto& peer : measurement.peers) {
      lines.push_back({measurement.row->facility(), measurement.row->operation(),
                       fmt::format("{:.2f}", measurement.oursNanoseconds), peer.name,
                       fmt::format("{:.2f}", peer.nanoseconds),
                       fmt::format("{:.2f}", measurement.oursNanoseconds / peer.nanoseconds),
                       isFirst ? verdict(measurement.oursNanoseconds, measurement.bar()) : ""});
      isFirst = false;
    }
  }

  std::array<std::size_t, 7> widths{};
  for (const auto& line : lines) {
    for (std::size_t i = 0; i < line.size(); ++i) widths[i] = std::max(widths[i], line[i].size());
  }
  std::string text;
  for (const auto& line : lines) {
    std::string row;
    for (std::size_t i = 0; i < line.size(); ++i) {
      row += style == TableStyle::markdown ? "| " : "";
      row += isNumber[i] ? fmt::format("{:>{}}", line[i], widths[i]) : fmt::format("{:<{}}", line[i], widths[i]);
      row += style == TableStyle::markdown ? " " : "  ";
    }
    if (style == TableStyle::markdown) row += "|";
    row.erase(row.find_last_not_of(' ') + 1);
    text += row + "\n";
  }
  return text;
}

std::string json(const std::vector<Measurement>& measurements) {
  std::string text;
  for (const auto& measurement : measurements) {
    for (const auto& peer : measurement.peers) {
      text += text.empty() ? "[\n" : ",\n";
      text += fmt::format(R"(  {{"facility": {}, "operation": {}, "ours_ns": {:.3f}, "peer": {}, "peer_ns": {:.3f}, )"
                          R"("ratio": {:.4f}}})",
                          quoted(measurement.row->facility()), quoted(measurement.row->operation()),
                          measurement.oursNanoseconds, quoted(peer.name), peer.nanoseconds,
                          measurement.oursNanoseconds / peer.nanoseconds);
    }
  }
  return text.empty() ? "[]\n" : text + "\n]\n";
}

}  // namespace Tessaly::Benchmarks
