#pragma once

#include <string_view>

// The pages of the HTML reports without their data, which replaces the word "@DATA@"; as they stand
// in this folder.

namespace Routing::Sim::HtmlPages {

extern const std::string_view page;
extern const std::string_view continuityPage;

}  // namespace Routing::Sim::HtmlPages
