// What the daemon on the wire is measured against: sends each PIM message back out of the interface
// on which it came, and looks at nothing. WireEcho INTERFACE

#include <sys/epoll.h>

#include <iostream>

#include "bench/RawPim.h"

int main(int count, char** words) try {
  if (count != 2) throw std::runtime_error("usage: WireEcho INTERFACE");
  Routing::Bench::RawPim link(words[1]);
  const int loop = epoll_create1(0);
  epoll_event event{EPOLLIN, {}};
  epoll_ctl(loop, EPOLL_CTL_ADD, link.handle(), &event);
  for (;;) {
    if (epoll_wait(loop, &event, 1, -1) < 1) continue;
    const auto message = link.receive();
    if (!message.empty()) link.send(message);
  }
} catch (const std::exception& error) {
  std::cerr << error.what() << "\n";
  return 1;
}
