#include "sim/report/ContinuityText.h"

#include <iomanip>
#include <ostream>

namespace Routing::Sim {
namespace {

constexpr int nameWidth = 22;
constexpr int timeWidth = 10;

const char* titleOf(Lack lack) {
  constexpr std::array titles{"without an RP", "without a BSR", "in disagreement", "start"};
  return titles[static_cast<std::size_t>(lack)];
}

void writeLack(std::ostream& out, const ContinuityStudy& study, Lack lack) {
  const Distribution runs = study.ofRuns(lack);
  const auto worst = study.worst(lack);
  out << "  " << std::left << std::setw(nameWidth) << titleOf(lack) << std::right;
  if (!worst) {
    out << std::setw(timeWidth) << "-"
        << "\n";
    return;
  }
  for (const double share : {0.5, 0.9, 0.99, 1.0}) out << std::setw(timeWidth) << runs.at(share);
  if (worst->seconds > 0) {
    out << "  " << study.subjects()[worst->subject] << ", seed " << worst->seed;
  }
  out << "\n";
}

void writeSubject(std::ostream& out, const ContinuityStudy& study, std::size_t subject) {
  out << "    " << std::left << std::setw(nameWidth - 2) << study.subjects()[subject] << std::right;
  for (const Lack lack : allLacks) {
    const Distribution times = study.ofSubject(lack, subject);
    if (times.empty()) {
      out << std::setw(2 * timeWidth) << "-";
    } else {
      out << std::setw(timeWidth) << times.at(0.5) << std::setw(timeWidth) << times.at(1);
    }
  }
  out << "\n";
}

}  // namespace

void writeContinuity(std::ostream& out, const ContinuityStudy& study) {
  out << std::fixed << std::setprecision(3) << "  " << std::setw(nameWidth + timeWidth) << "median";
  for (const char* column : {"90%", "99%", "longest"}) out << std::setw(timeWidth) << column;
  out << "  worst\n";
  for (const Lack lack : allLacks) writeLack(out, study, lack);
  out << "  " << std::setw(nameWidth) << "";
  for (const Lack lack : allLacks) out << std::setw(2 * timeWidth) << titleOf(lack);
  out << "\n  " << std::left << std::setw(nameWidth) << "by router" << std::right;
  for (std::size_t i = 0; i < allLacks.size(); ++i) {
    out << std::setw(timeWidth) << "median" << std::setw(timeWidth) << "longest";
  }
  out << "\n";
  for (std::size_t subject = 0; subject < study.subjects().size(); ++subject) {
    writeSubject(out, study, subject);
  }
}

}  // namespace Routing::Sim
