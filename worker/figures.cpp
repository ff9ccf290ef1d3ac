#include "worker/figures.h"

#include <fmt/format.h>

#include <iterator>

namespace nivra::worker {

namespace {

template <class Value>
void writeValue(const char* name, const char* type, const char* about, Value value, std::string& text) {
  fmt::format_to(std::back_inserter(text),
                 "# HELP nivra_worker_{0} {2}\n# TYPE nivra_worker_{0} {1}\nnivra_worker_{0} {3}\n", name, type, about,
                 value);
}

}  // namespace

void Histogram::add(double seconds) {
  ++count;
  sum += seconds;
  for (std::size_t i = 0; i < kBounds.size(); ++i) {
    if (seconds <= kBounds[i]) ++counts[i];
  }
}

void Histogram::write(const char* name, const char* about, std::string& text) const {
  const auto out = std::back_inserter(text);
  fmt::format_to(out, "# HELP nivra_worker_{0} {1}\n# TYPE nivra_worker_{0} histogram\n", name, about);
  for (std::size_t i = 0; i < kBounds.size(); ++i) {
    fmt::format_to(out, "nivra_worker_{}_bucket{{le=\"{}\"}} {}\n", name, kBounds[i], counts[i]);
  }
  fmt::format_to(out,
                 "nivra_worker_{0}_bucket{{le=\"+Inf\"}} {1}\nnivra_worker_{0}_sum {2}\nnivra_worker_{0}_count {1}\n",
                 name, count, sum);
}

std::string prometheusText(const Figures& figures) {
  std::string text;
  const auto counter = [&](const char* name, const char* about, auto value) {
    writeValue(name, "counter", about, value, text);
  };
  counter("answered_total", "Lines that were answered.", figures.answered);
  counter("refused_total", "Lines among them that had a fault.", figures.refused);
  counter("set_aside_total", "Lines among them that were poison.", figures.setAside);
  counter("caught_up_total", "Lines that were followed silently, since others had answered them.", figures.caughtUp);
  counter("states_total", "States that were stored.", figures.statesStored);
  counter("state_bytes_total", "Bytes of these states.", figures.stateBytes);
  counter("state_seconds_total", "Time on making states.", figures.stateSeconds);
  counter("busy_seconds_total", "Time on making answers.", figures.busySeconds);
  counter("claimed_total", "Shards that came to this worker.", figures.claimed);
  counter("lost_total", "Shards that went to others as if this worker were dead.", figures.lost);
  counter("failures_total", "Times that the log was unavailable.", figures.failures);
  writeValue("leases", "gauge", "Shards that this worker holds.", figures.held, text);
  figures.lag.write("lag_seconds", "From the arrival of a line to its answer.", text);
  figures.commits.write("commit_seconds", "Of a round over the shards, what its commits were waited for.", text);
  return text;
}

}  // namespace nivra::worker
