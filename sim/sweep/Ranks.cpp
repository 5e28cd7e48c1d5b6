#include "sim/sweep/Ranks.h"

#include <mpi.h>
#include <poll.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <optional>
#include <string>
#include <utility>

#include "sim/sweep/ResultsInOrder.h"
#include "sim/sweep/SeedProcess.h"

namespace Routing::Sim {
namespace {

constexpr int first = 0;           // the rank that keeps the queue
constexpr int listenInterval = 2;  // milliseconds
constexpr double patience = 5.0;   // seconds for the other ranks to leave
enum Tag : int { ready, results, block, leaving };

/// Sweeps follow each other on every rank in the same order; what is of an earlier one is ignored.
std::uint64_t sweeps = 0;

MPI_Comm all() {
  return MPI_COMM_WORLD;
}

template <class T>
void send(int to, Tag tag, const std::vector<T>& what) {
  MPI_Send(what.data(), static_cast<int>(what.size() * sizeof(T)), MPI_BYTE, to, tag, all());
}

std::optional<MPI_Status> arrived() {
  int there = 0;
  MPI_Status status;
  MPI_Iprobe(MPI_ANY_SOURCE, MPI_ANY_TAG, all(), &there, &status);
  return there != 0 ? std::optional(status) : std::nullopt;
}

std::string receive(const MPI_Status& status) {
  int size = 0;
  MPI_Get_count(&status, MPI_BYTE, &size);
  std::string octets(static_cast<std::size_t>(size), '\0');
  MPI_Recv(octets.data(), size, MPI_BYTE, status.MPI_SOURCE, status.MPI_TAG, all(),
           MPI_STATUS_IGNORE);
  return octets;
}

std::uint64_t takeNumber(std::string& octets) {
  std::uint64_t number = 0;
  std::memcpy(&number, octets.data(), sizeof number);
  octets.erase(0, sizeof number);
  return number;
}

/// Waits a moment for something to listen to.
bool hasNews(const SeedProcess& process) {
  pollfd end{process.fd(), POLLIN, 0};
  return ::poll(&end, 1, listenInterval) > 0;
}

/// The first rank's part of a sweep.
class Distributor {
 public:
  Distributor(const SeedBlock& seeds, const Run& run)
      : queue_(seeds), portion_(blockSize(seeds, Ranks::count())), run_(run), results_(seeds) {}

  std::vector<RunResult> run() {
    while (!results_.complete()) {
      work();
      while (const auto status = arrived()) handle(*status);
    }
    process_.reset();
    for (int rank = 1; rank < static_cast<int>(Ranks::count()); ++rank) give(rank, {});
    return results_.take();
  }

 private:
  struct Given {
    SeedBlock block;
    unsigned times = 0;
  };

  SeedBlock next() {
    if (!queue_.empty()) given_.push_back({queue_.take(portion_)});
    const auto least =
        std::min_element(given_.begin(), given_.end(),
                         [](const Given& a, const Given& b) { return a.times < b.times; });
    ++least->times;
    return least->block;
  }

  void done(std::uint64_t firstSeed, std::vector<RunResult> results) {
    std::erase_if(given_, [&](const Given& given) { return given.block.first == firstSeed; });
    results_.add(std::move(results));
  }

  void work() {
    if (!process_) process_.emplace(own_ = next(), run_);
    if (!hasNews(*process_) || process_->listen(news_)) return;
    process_.reset();
    done(own_.first, std::exchange(news_, {}));
  }

  void handle(const MPI_Status& status) {
    std::string octets = receive(status);
    if (takeNumber(octets) != sweeps || results_.complete()) return;
    if (status.MPI_TAG == ready) return give(status.MPI_SOURCE, next());
    const std::uint64_t firstSeed = takeNumber(octets);
    std::vector<RunResult> results;
    while (auto result = takeResult(octets)) results.push_back(std::move(*result));
    done(firstSeed, std::move(results));
  }

  static void give(int rank, const SeedBlock& what) { send(rank, block, std::vector{what}); }

  SeedBlock queue_;
  const std::uint64_t portion_;
  const Run& run_;
  ResultsInOrder results_;
  std::vector<Given> given_;  // of which the results are missing
  std::optional<SeedProcess> process_;
  SeedBlock own_;
  std::vector<RunResult> news_;
};

SeedBlock nextBlock() {
  SeedBlock next;
  MPI_Recv(&next, sizeof next, MPI_BYTE, first, block, all(), MPI_STATUS_IGNORE);
  return next;
}

/// The results of a block, behind the number of the sweep and the first seed; nothing if the sweep
/// is over.
std::vector<char> resultsOf(const SeedBlock& what, const Run& run) {
  SeedProcess process(what, run);
  std::vector<RunResult> results;
  for (bool more = true; more;) {
    if (arrived()) return {};
    more = !hasNews(process) || process.listen(results);
  }
  const std::array<std::uint64_t, 2> head{sweeps, what.first};
  std::string octets(reinterpret_cast<const char*>(head.data()), sizeof head);
  for (const RunResult& result : results) writeResult(result, octets);
  return {octets.begin(), octets.end()};
}

void help(const Run& run) {
  for (;;) {
    send(first, ready, std::vector{sweeps});
    const SeedBlock what = nextBlock();
    if (what.empty()) return;
    const auto octets = resultsOf(what, run);
    if (octets.empty()) continue;
    send(first, results, octets);
  }
}

void receiveIfLeaving(const MPI_Status& status, unsigned& others) {
  receive(status);
  others -= status.MPI_TAG == leaving;
}

/// Whether all other ranks are there to the end.
bool othersLeave() {
  unsigned others = Ranks::count() - 1;
  for (const double end = MPI_Wtime() + patience; others > 0 && MPI_Wtime() < end;) {
    if (const auto status = arrived()) {
      receiveIfLeaving(*status, others);
    } else {
      ::poll(nullptr, 0, listenInterval);
    }
  }
  return others == 0;
}

}  // namespace

Ranks::Ranks() {
  if (std::getenv("OMPI_COMM_WORLD_SIZE") == nullptr && std::getenv("PMI_SIZE") == nullptr) return;
  MPI_Init(nullptr, nullptr);
  MPI_Comm_set_errhandler(all(), MPI_ERRORS_RETURN);
}

int Ranks::leave(int code) {
  if (count() == 1) return code;
  std::cout.flush();
  const bool shows = isFirst();
  if (shows) {
    if (!othersLeave())
      MPI_Abort(all(), code);  // who waits for a dead rank to leave waits for ever
    for (int rank = 1; rank < static_cast<int>(count()); ++rank)
      send(rank, leaving, std::vector{code});
  } else {
    send(first, leaving, std::vector{code});
    MPI_Recv(&code, sizeof code, MPI_BYTE, first, leaving, all(), MPI_STATUS_IGNORE);
  }
  MPI_Finalize();
  return shows ? code : 0;
}

Ranks::~Ranks() {
  int finalized = 0;
  MPI_Finalized(&finalized);
  if (finalized == 0 && count() > 1) MPI_Finalize();
}

unsigned Ranks::count() {
  int initialized = 0;
  int size = 1;
  MPI_Initialized(&initialized);
  if (initialized != 0) MPI_Comm_size(all(), &size);
  return static_cast<unsigned>(size);
}

bool Ranks::isFirst() {
  int rank = first;
  if (count() > 1) MPI_Comm_rank(all(), &rank);
  return rank == first;
}

std::vector<RunResult> eachSeedOfRanks(const SeedBlock& seeds, const Run& run) {
  ++sweeps;
  if (Ranks::isFirst()) return Distributor(seeds, run).run();
  help(run);
  return {};
}

}  // namespace Routing::Sim
