#include "observe/Capture.h"

#include <pcap/pcap.h>

#include <array>
#include <filesystem>

namespace Routing::Observe {
namespace {

constexpr int longestFrame = 65535;
constexpr int patienceMs = 100;
constexpr int promiscuous = 1;
constexpr int framesAtOnce = 1000;
constexpr const char* onlyPim = "ip proto 103 or ip6 proto 103";

void handOver(u_char* user, const pcap_pkthdr* header, const u_char* octets) {
  const auto& frame = *reinterpret_cast<const Capture::Frame*>(user);
  const double time =
      static_cast<double>(header->ts.tv_sec) + static_cast<double>(header->ts.tv_usec) / 1e6;
  frame(time, {octets, header->caplen});
}

}  // namespace

void Capture::Close::operator()(pcap* handle) const {
  pcap_close(handle);
}

Capture::Capture(const std::string& source) : live_(!std::filesystem::exists(source)) {
  std::array<char, PCAP_ERRBUF_SIZE> error{};
  handle_.reset(
      live_ ? pcap_open_live(source.c_str(), longestFrame, promiscuous, patienceMs, error.data())
            : pcap_open_offline(source.c_str(), error.data()));
  if (!handle_) throw CaptureError(source + ": " + error.data());
  bpf_program filter{};
  if (!live_ || pcap_compile(handle_.get(), &filter, onlyPim, 1, PCAP_NETMASK_UNKNOWN) != 0) return;
  pcap_setfilter(handle_.get(), &filter);
  pcap_freecode(&filter);
}

Capture::~Capture() = default;

int Capture::linkType() const {
  return pcap_datalink(handle_.get());
}

bool Capture::read(const Frame& frame) {
  auto* user = reinterpret_cast<u_char*>(const_cast<Frame*>(&frame));
  const int count = pcap_dispatch(handle_.get(), framesAtOnce, handOver, user);
  if (count < 0) throw CaptureError(pcap_geterr(handle_.get()));
  return live_ || count > 0;
}

}  // namespace Routing::Observe
