#include "sim/sweep/RunResult.h"

#include <cstring>

namespace Routing::Sim {
namespace {

/// The fixed part; figures and text follow.
struct Record {
  std::uint64_t seed;
  std::uint64_t digest;
  std::uint64_t figures;  // octets
  std::uint64_t text;     // octets
  std::uint32_t judged;
  std::uint32_t skipped;
  bool passed;
  bool died;
};

void append(std::string& octets, const void* from, std::size_t size) {
  octets.append(static_cast<const char*>(from), size);
}

}  // namespace

void writeResult(const RunResult& result, std::string& octets) {
  const Record record{result.seed,        result.digest, result.figures.size() * sizeof(double),
                      result.text.size(), result.judged, result.skipped,
                      result.passed,      result.died};
  append(octets, &record, sizeof record);
  append(octets, result.figures.data(), record.figures);
  octets += result.text;
}

std::optional<RunResult> takeResult(std::string& octets) {
  Record record;
  if (octets.size() < sizeof record) return std::nullopt;
  std::memcpy(&record, octets.data(), sizeof record);
  const std::size_t length = sizeof record + record.figures + record.text;
  if (octets.size() < length) return std::nullopt;
  RunResult result{record.seed,
                   record.passed,
                   record.died,
                   record.digest,
                   record.judged,
                   record.skipped,
                   std::vector<double>(record.figures / sizeof(double)),
                   octets.substr(sizeof record + record.figures, record.text)};
  if (record.figures > 0) {
    std::memcpy(result.figures.data(), octets.data() + sizeof record, record.figures);
  }
  octets.erase(0, length);
  return result;
}

}  // namespace Routing::Sim
