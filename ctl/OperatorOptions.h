#pragma once

namespace CLI {
class App;
}

namespace Routing::Ctl {

struct Options;

/// The words of `explain` and of the short forms of `clear`, which take the family from an address.
void addExplain(CLI::App& app, Options& options);
void addClear(CLI::App& clear, Options& options);

}  // namespace Routing::Ctl
