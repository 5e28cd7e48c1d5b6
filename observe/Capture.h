#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>

struct pcap;

namespace Routing::Observe {

/// Raised where a capture cannot be read; what() is meant for the operator.
struct CaptureError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// The frames of a capture file, or those that an interface hears from now on. Sends nothing.
class Capture {
 public:
  using Frame = std::function<void(double time, std::span<const std::uint8_t> octets)>;

  /// A file if there is one of this name, else an interface. Raises CaptureError.
  explicit Capture(const std::string& source);
  Capture(const Capture&) = delete;
  Capture& operator=(const Capture&) = delete;
  ~Capture();

  bool live() const { return live_; }
  /// See observe/Frame.h.
  int linkType() const;
  /// Hands over the frames that are there, for a tenth of a second at most when live; false once a
  /// file is at its end. Raises CaptureError.
  bool read(const Frame& frame);

 private:
  const bool live_;
  struct Close {
    void operator()(pcap* handle) const;
  };
  std::unique_ptr<pcap, Close> handle_;
};

}  // namespace Routing::Observe
