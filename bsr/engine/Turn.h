#pragma once

#include <cstdint>

namespace Routing::Pim::Bsr {

/// One event of a machine, from its first action to its last.
///
/// A message never arrives inside the sending of another: the packet layer sees to that
/// (PacketPort::send). But every action writes to entities, and so runs reactors of the host, which
/// may end the machine, or bring it its next event. What is left of the present event has then lost
/// its ground. So the actions of an event are steps of a turn, and a turn that was overtaken takes
/// no further step. This is the one place where the engine deals with it.
class Turn {
 public:
  /// Begins a turn; those that the machine was in are overtaken. `turns` counts the machine's turns
  /// and goes on existing while this object does.
  static Turn begin(std::uint64_t& turns) { return Turn(turns, ++turns); }
  /// What is done for whichever turn the machine is in, for example because an attribute changed.
  static Turn join(const std::uint64_t& turns) { return Turn(turns, turns); }

  bool goesOn() const { return turns_ == number_; }
  /// Takes a step, unless the turn was overtaken.
  template <class Step>
  void operator()(Step&& step) const {
    if (goesOn()) step();
  }

 private:
  Turn(const std::uint64_t& turns, std::uint64_t number) : turns_(turns), number_(number) {}

  const std::uint64_t& turns_;
  const std::uint64_t number_;
};

}  // namespace Routing::Pim::Bsr
