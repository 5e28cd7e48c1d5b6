#pragma once

#include <array>
#include <charconv>
#include <cmath>
#include <concepts>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

#include "platform/Export.h"
#include "platform/entity/RangeError.h"

/// The value notation: one text form for every value that an attribute can hold, its parser and its
/// JSON form. Numbers stand as digits, truth values as True and False, addresses, prefixes and
/// enumerators as their own text, strings in single quotes, and structured values as
/// Value('Type', ** {'field': value, ...}).
namespace Routing {

/// Reads notation from the front of a text; what it returns points into that text.
class ROUTING_API ValueReader {
 public:
  explicit ValueReader(std::string_view text) : rest_(text) {}
  std::string_view rest() const { return rest_; }
  bool atEnd() const { return rest_.empty(); }
  /// Consumes the literal if the text begins with it.
  bool take(std::string_view literal);
  /// Consumes a bare word: everything up to a comma, bracket, brace, parenthesis or blank.
  std::string_view word();
  /// Consumes a string in single quotes with backslash escapes; nothing if it is malformed.
  std::optional<std::string> quoted();

 private:
  std::string_view rest_;
};

ROUTING_API void writeQuoted(std::string& out, std::string_view text);
ROUTING_API void writeJsonString(std::string& out, std::string_view text);

/// Names of an enumeration's enumerators in value order, starting at `first`. Specialise with
/// `static constexpr std::array names{...}` and, if the first value is not 0, `first`.
template <class E>
struct EnumText;

template <class E>
concept NamedEnum = std::is_enum_v<E> && requires {
  EnumText<E>::names;
};

template <NamedEnum E>
constexpr std::string_view enumName(E value) {
  const auto index = static_cast<std::size_t>(value);
  return index < EnumText<E>::names.size() ? EnumText<E>::names[index] : "unknown";
}

/// Has its own text form: text() and a static fromText().
template <class T>
concept TextValue = requires(const T& v, std::string_view s) {
  { v.text() } -> std::convertible_to<std::string>;
  { T::fromText(s) } -> std::same_as<std::optional<T>>;
};

/// An integer with bounds of its own (see BoundedValue).
template <class T>
concept BoundedNumber = requires(const T& v) {
  typename T::Rep;
  { v.value() } -> std::same_as<typename T::Rep>;
  {T(std::uint64_t{})};
};

/// A structured value: names its type and shows its fields to a visitor of (name, reference).
template <class T>
concept StructuredValue = requires(T& v) {
  { T::valueTypeName } -> std::convertible_to<std::string_view>;
  T::visitFields(v, [](std::string_view, auto&) {});
};

template <class T>
void writeValue(std::string& out, const T& value);
template <class T>
bool readValue(ValueReader& in, T& value);
template <class T>
void writeJson(std::string& out, const T& value);

namespace detail {

template <class N>
void writeNumber(std::string& out, N value) {
  std::array<char, 32> digits{};
  out.append(digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr);
}

template <class N>
bool readNumber(ValueReader& in, N& value) {
  const auto word = in.word();
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
  return error == std::errc{} && end == word.data() + word.size();
}

template <class T>
void writeStructured(std::string& out, const T& value) {
  out += "Value('";
  out += T::valueTypeName;
  out += "', ** {";
  bool first = true;
  T::visitFields(value, [&](std::string_view name, const auto& field) {
    out += first ? "'" : ", '";
    first = false;
    out += name;
    out += "': ";
    writeValue(out, field);
  });
  out += "})";
}

template <class T>
bool readStructured(ValueReader& in, T& value) {
  bool good = in.take("Value('") && in.take(T::valueTypeName) && in.take("', ** {");
  bool first = true;
  T::visitFields(value, [&](std::string_view name, auto& field) {
    good = good && in.take(first ? "'" : ", '") && in.take(name) && in.take("': ") &&
           readValue(in, field);
    first = false;
  });
  return good && in.take("})");
}

template <NamedEnum E>
bool readEnum(ValueReader& in, E& value) {
  const auto word = in.word();
  for (std::size_t i = 0; i < EnumText<E>::names.size(); ++i) {
    if (word != EnumText<E>::names[i] || word.empty()) continue;
    value = static_cast<E>(i);
    return true;
  }
  return false;
}

template <BoundedNumber T>
bool readBounded(ValueReader& in, T& value) {
  std::uint64_t number = 0;
  if (!readNumber(in, number)) return false;
  try {
    value = T(number);
  } catch (const RangeError&) {
    return false;
  }
  return true;
}

}  // namespace detail

/// Appends the value's notation.
template <class T>
void writeValue(std::string& out, const T& value) {
  if constexpr (std::is_same_v<T, bool>) {
    out += value ? "True" : "False";
  } else if constexpr (std::is_arithmetic_v<T>) {
    detail::writeNumber(out, value);
  } else if constexpr (std::is_same_v<T, std::string>) {
    writeQuoted(out, value);
  } else if constexpr (NamedEnum<T>) {
    out += enumName(value);
  } else if constexpr (BoundedNumber<T>) {
    detail::writeNumber(out, value.value());
  } else if constexpr (StructuredValue<T>) {
    detail::writeStructured(out, value);
  } else if constexpr (requires { value.quotedText(); }) {
    writeQuoted(out, value.text());
  } else {
    static_assert(TextValue<T>, "the type has no notation");
    out += value.text();
  }
}

/// Reads one value from the front of `in`. False if it is malformed or out of bounds; `value` is
/// then unspecified.
template <class T>
bool readValue(ValueReader& in, T& value) {
  if constexpr (std::is_same_v<T, bool>) {
    const auto word = in.word();
    value = word == "True";
    return value || word == "False";
  } else if constexpr (std::is_arithmetic_v<T>) {
    return detail::readNumber(in, value);
  } else if constexpr (std::is_same_v<T, std::string>) {
    auto text = in.quoted();
    if (text) value = std::move(*text);
    return text.has_value();
  } else if constexpr (NamedEnum<T>) {
    return detail::readEnum(in, value);
  } else if constexpr (BoundedNumber<T>) {
    return detail::readBounded(in, value);
  } else if constexpr (StructuredValue<T>) {
    return detail::readStructured(in, value);
  } else {
    std::optional<T> parsed;
    if constexpr (requires { value.quotedText(); }) {
      const auto text = in.quoted();
      if (text) parsed = T::fromText(*text);
    } else {
      parsed = T::fromText(in.word());
    }
    if (parsed) value = std::move(*parsed);
    return parsed.has_value();
  }
}

/// Appends the value as JSON: numbers and truth values as such (an infinite instant as null),
/// structured values as objects, everything else as a string.
template <class T>
void writeJson(std::string& out, const T& value) {
  if constexpr (std::is_same_v<T, bool>) {
    out += value ? "true" : "false";
  } else if constexpr (std::is_floating_point_v<T>) {
    if (std::isfinite(value)) {
      detail::writeNumber(out, value);
    } else {
      out += "null";
    }
  } else if constexpr (std::is_integral_v<T>) {
    detail::writeNumber(out, value);
  } else if constexpr (BoundedNumber<T>) {
    detail::writeNumber(out, value.value());
  } else if constexpr (StructuredValue<T>) {
    char separator = '{';
    T::visitFields(value, [&](std::string_view name, const auto& field) {
      out += separator;
      separator = ',';
      writeJsonString(out, name);
      out += ':';
      writeJson(out, field);
    });
    out += '}';
  } else if constexpr (NamedEnum<T>) {
    writeJsonString(out, enumName(value));
  } else if constexpr (std::is_same_v<T, std::string>) {
    writeJsonString(out, value);
  } else {
    writeJsonString(out, value.text());
  }
}

/// The notation of one value.
template <class T>
std::string valueText(const T& value) {
  std::string out;
  writeValue(out, value);
  return out;
}

/// Parses a text that holds exactly one value.
template <class T>
std::optional<T> parseValue(std::string_view text) {
  ValueReader in(text);
  T value{};
  if (!readValue(in, value) || !in.atEnd()) return std::nullopt;
  return value;
}

namespace detail {
/// Raises RangeError "TYPE::value < MIN or > MAX not allowed".
[[noreturn]] ROUTING_API void refuseValue(std::string_view typeName, std::uint64_t min,
                                          std::uint64_t max);
}  // namespace detail

/// An unsigned integer that cannot leave its bounds: a value outside them raises RangeError. `Tag`
/// gives `min`, `max`, `initial` and `typeName`.
template <class Tag, class Representation>
class BoundedValue {
 public:
  using Rep = Representation;
  static constexpr Rep min = Tag::min;
  static constexpr Rep max = Tag::max;

  constexpr BoundedValue() = default;
  explicit constexpr BoundedValue(std::uint64_t value) : value_(static_cast<Rep>(value)) {
    if (value < min || value > max) detail::refuseValue(Tag::typeName, min, max);
  }
  constexpr Rep value() const { return value_; }

  std::size_t hash() const { return std::hash<Rep>()(value_); }

  friend constexpr auto operator<=>(const BoundedValue&, const BoundedValue&) = default;
  template <class Stream>
  friend Stream& operator<<(Stream& out, const BoundedValue& v) {
    out << static_cast<std::uint64_t>(v.value_);
    return out;
  }

 private:
  Rep value_ = Tag::initial;
};

}  // namespace Routing
