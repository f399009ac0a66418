#include "value.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <limits>
#include <optional>
#include <span>
#include <string>

#include "base64.h"
#include "text.h"

namespace ncdm::model {
namespace {

std::span<const ncdm_range_t> Ranges(const ncdm_type_t& type) {
  return {type.ranges, type.range_count};
}
std::span<const ncdm_name_t> Names(const ncdm_type_t& type) {
  return {type.names, type.name_count};
}

bool InRanges(const ncdm_type_t& type, int64_t value) {
  return type.range_count == 0 || std::ranges::any_of(Ranges(type), [&](const auto& range) {
           return value >= range.min && value <= range.max;
         });
}

bool InRanges(const ncdm_type_t& type, uint64_t value) {
  return type.range_count == 0 || std::ranges::any_of(Ranges(type), [&](const auto& range) {
           return value >= static_cast<uint64_t>(range.min) &&
                  value <= static_cast<uint64_t>(range.max);
         });
}

template <typename Member>
Member Load(const void* member) {
  Member value;
  memcpy(&value, member, sizeof value);
  return value;
}

template <typename Member>
bool Store(Member value, void* member) {
  memcpy(member, &value, sizeof value);
  return true;
}

// ---- Integers ----

// What is one template for the eight integer types: `Visit` is called with a value of the type.
template <typename Visit>
bool WithInteger(ncdm_kind_t kind, Visit visit) {
  switch (kind) {
    case NCDM_INT8:
      return visit(int8_t{});
    case NCDM_INT16:
      return visit(int16_t{});
    case NCDM_INT32:
      return visit(int32_t{});
    case NCDM_INT64:
      return visit(int64_t{});
    case NCDM_UINT8:
      return visit(uint8_t{});
    case NCDM_UINT16:
      return visit(uint16_t{});
    case NCDM_UINT32:
      return visit(uint32_t{});
    case NCDM_UINT64:
      return visit(uint64_t{});
    default:
      return false;
  }
}

// The widest integer of the same signedness.
template <typename Integer>
using Wide = std::conditional_t<std::is_signed_v<Integer>, int64_t, uint64_t>;

template <typename Integer>
bool StoreInteger(const ncdm_type_t& type, Wide<Integer> value, void* member) {
  if (value < std::numeric_limits<Integer>::min() || value > std::numeric_limits<Integer>::max()) {
    return false;
  }
  return InRanges(type, value) && Store(static_cast<Integer>(value), member);
}

template <typename Number>
std::optional<Number> ParseWhole(std::string_view text) {
  Number value{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

bool ReadInteger(const ncdm_type_t& type, std::string_view text, void* member) {
  return WithInteger(type.kind, [&](auto zero) {
    using Integer = decltype(zero);
    const auto value = ParseWhole<Wide<Integer>>(text);
    return value && StoreInteger<Integer>(type, *value, member);
  });
}

// ---- decimal64 ----

// Digits behind the point that are missing count as 0; more than the type has are refused.
std::optional<int64_t> ParseDecimal(std::string_view text, int fraction_digits) {
  const size_t point = text.find('.');
  std::string_view fraction;
  std::array<char, 32> digits{};
  size_t size = 0;
  if (point != std::string_view::npos) {
    fraction = text.substr(point + 1);
    text = text.substr(0, point);
    if (fraction.empty()) return std::nullopt;
  }
  if (text.empty() || text == "-" || fraction.size() > static_cast<size_t>(fraction_digits) ||
      text.size() + static_cast<size_t>(fraction_digits) >= digits.size() ||
      !std::ranges::all_of(fraction, [](char c) { return c >= '0' && c <= '9'; })) {
    return std::nullopt;
  }
  size = text.copy(digits.data(), text.size());
  size += fraction.copy(digits.data() + size, fraction.size());
  for (size_t i = fraction.size(); i < static_cast<size_t>(fraction_digits); ++i) {
    digits[size++] = '0';
  }
  return ParseWhole<int64_t>({digits.data(), size});
}

bool ReadDecimal(const ncdm_type_t& type, std::string_view text, void* member) {
  const auto value = ParseDecimal(text, type.fraction_digits);
  return value && InRanges(type, *value) && Store(*value, member);
}

// The canonical form has a digit on either side of the point and no further zeros behind it.
void WriteDecimal(const ncdm_type_t& type, int64_t value, char* text) {
  // Also of the least number, whose magnitude is no int64_t.
  const uint64_t magnitude =
      value < 0 ? 0 - static_cast<uint64_t>(value) : static_cast<uint64_t>(value);
  std::string digits = std::to_string(magnitude);
  const auto places = static_cast<size_t>(type.fraction_digits);
  while (digits.size() < places + 1) digits.insert(digits.begin(), '0');
  const std::string whole = digits.substr(0, digits.size() - places);
  std::string fraction = digits.substr(digits.size() - places);
  while (fraction.size() > 1 && fraction.back() == '0') fraction.pop_back();
  snprintf(text, NCDM_TEXT_SIZE, "%s%s.%s", value < 0 ? "-" : "", whole.c_str(), fraction.c_str());
}

// ---- Texts ----

bool MatchesPatterns(const ncdm_type_t& type, const char* text) {
  for (size_t i = 0; i < type.pattern_count; ++i) {
    if (!type.matches(&type.patterns[i], text)) return false;
  }
  return true;
}

// `Accept` is asked with the text made NUL-terminated.
template <typename Accept>
bool StoreText(const ncdm_type_t& type, std::string_view text, void* member, Accept accept) {
  if (text.size() >= NCDM_TEXT_SIZE || text.size() >= type.size ||
      text.find('\0') != std::string_view::npos) {
    return false;
  }
  char copy[NCDM_TEXT_SIZE];
  copy[text.copy(copy, text.size())] = '\0';
  if (!accept(copy)) return false;
  memcpy(member, copy, text.size() + 1);
  return true;
}

bool ReadString(const ncdm_type_t& type, std::string_view text, void* member) {
  const auto length = Utf8Length(text);
  return length && InRanges(type, static_cast<uint64_t>(*length)) &&
         StoreText(type, text, member,
                   [&](const char* copy) { return MatchesPatterns(type, copy); });
}

// The text is that of the first member type that accepts it, in its canonical form.
bool ReadUnion(const ncdm_type_t& type, std::string_view text, void* member) {
  for (size_t i = 0; i < type.member_count; ++i) {
    alignas(8) char scratch[NCDM_TEXT_SIZE];
    char canonical[NCDM_TEXT_SIZE];
    if (!ReadText(type.members[i], text, scratch)) continue;
    if (!WriteText(type.members[i], scratch, canonical)) return false;
    return StoreText(type, canonical, member, [](const char*) { return true; });
  }
  return false;
}

// ---- Names ----

// The value of a name; of an identity's without its module when no other has that name.
std::optional<int64_t> ValueOfName(const ncdm_type_t& type, std::string_view text) {
  std::optional<int64_t> by_end;
  bool ambiguous = false;
  for (const ncdm_name_t& name : Names(type)) {
    const std::string_view whole = name.text;
    if (whole == text) return name.value;
    const size_t colon = whole.find(':');
    if (colon != std::string_view::npos && whole.substr(colon + 1) == text) {
      ambiguous = by_end.has_value();
      by_end = name.value;
    }
  }
  return ambiguous ? std::nullopt : by_end;
}

bool ReadEnum(const ncdm_type_t& type, std::string_view text, void* member) {
  const auto value = ValueOfName(type, text);
  return value && Store(static_cast<int>(*value), member);
}

const char* NameOf(const ncdm_type_t& type, int64_t value) {
  const auto found = std::ranges::find(Names(type), value, &ncdm_name_t::value);
  return found == Names(type).end() ? nullptr : found->text;
}

bool ReadBits(const ncdm_type_t& type, std::string_view text, void* member) {
  uint64_t bits = 0;
  while (!text.empty()) {
    const size_t blank = std::min(text.find(' '), text.size());
    const std::string_view word = text.substr(0, blank);
    text.remove_prefix(std::min(blank + 1, text.size()));
    if (word.empty()) continue;
    const auto mask = ValueOfName(type, word);
    if (!mask || (bits & static_cast<uint64_t>(*mask)) != 0) return false;
    bits |= static_cast<uint64_t>(*mask);
  }
  return Store(bits, member);
}

bool WriteBits(const ncdm_type_t& type, uint64_t bits, char* text) {
  size_t size = 0;
  text[0] = '\0';
  for (const ncdm_name_t& name : Names(type)) {
    if ((bits & static_cast<uint64_t>(name.value)) == 0) continue;
    bits &= ~static_cast<uint64_t>(name.value);
    const int more =
        snprintf(text + size, NCDM_TEXT_SIZE - size, "%s%s", size == 0 ? "" : " ", name.text);
    size += static_cast<size_t>(more);
    if (size >= NCDM_TEXT_SIZE) return false;
  }
  return bits == 0;
}

// ---- binary ----

bool ReadBinary(const ncdm_type_t& type, std::string_view text, void* member) {
  ncdm_binary_t binary{};
  if (text.size() >= NCDM_TEXT_SIZE || !DecodeBase64(text, binary)) return false;
  return InRanges(type, uint64_t{binary.size}) && Store(binary, member);
}

// ---- Date and time ----

// Leading zeros may be left out, as in what the agent reads from a client.
bool ReadTime(std::string_view text, void* member) {
  tm time{};
  struct Field {
    int& number;
    char end;  // of the number
    int min;
    int max;
  };
  const Field fields[] = {{time.tm_year, '-', 0, 9999}, {time.tm_mon, '-', 1, 12},
                          {time.tm_mday, 'T', 1, 31},   {time.tm_hour, ':', 0, 23},
                          {time.tm_min, ':', 0, 59},    {time.tm_sec, '\0', 0, 60}};
  for (const auto& [number, end, min, max] : fields) {
    const size_t size = end == '\0' ? text.size() : std::min(text.find(end), text.size());
    const auto value = ParseWhole<int>(text.substr(0, size));
    if (!value || *value < min || *value > max || (end != '\0' && size == text.size()))
      return false;
    number = *value;
    text.remove_prefix(std::min(size + 1, text.size()));
  }
  return Store(time, member);
}

bool WriteTime(const tm& time, char* text) {
  snprintf(text, NCDM_TEXT_SIZE, "%04d-%02d-%02dT%02d:%02d:%02d", time.tm_year, time.tm_mon,
           time.tm_mday, time.tm_hour, time.tm_min, time.tm_sec);
  return true;
}

bool ReadBool(std::string_view text, void* member) {
  if (text != "true" && text != "false") return false;
  return Store(text == "true", member);
}

bool CopyText(const char* from, char* text) {
  const size_t size = from == nullptr ? NCDM_TEXT_SIZE : strnlen(from, NCDM_TEXT_SIZE);
  if (size == NCDM_TEXT_SIZE) return false;
  memcpy(text, from, size + 1);
  return true;
}

bool WriteInteger(const ncdm_type_t& type, const void* member, char* text) {
  return WithInteger(type.kind, [&](auto zero) {
    const auto [end, error] =
        std::to_chars(text, text + NCDM_TEXT_SIZE - 1, Load<decltype(zero)>(member));
    *end = '\0';
    return error == std::errc();
  });
}

}  // namespace

bool ReadText(const ncdm_type_t& type, std::string_view text, void* member) {
  switch (type.kind) {
    case NCDM_BOOL:
      return ReadBool(text, member);
    case NCDM_DECIMAL64:
      return ReadDecimal(type, text, member);
    case NCDM_TEXT:
      return ReadString(type, text, member);
    case NCDM_UNION:
      return ReadUnion(type, text, member);
    case NCDM_ENUM:
      return ReadEnum(type, text, member);
    case NCDM_BITS:
      return ReadBits(type, text, member);
    case NCDM_BINARY:
      return ReadBinary(type, text, member);
    case NCDM_EMPTY:
      return text.empty() && Store(true, member);
    case NCDM_TIME:
      return ReadTime(text, member);
    default:
      return ReadInteger(type, text, member);
  }
}

bool WriteText(const ncdm_type_t& type, const void* member, char text[NCDM_TEXT_SIZE]) {
  switch (type.kind) {
    case NCDM_BOOL:
      return CopyText(Load<bool>(member) ? "true" : "false", text);
    case NCDM_DECIMAL64:
      WriteDecimal(type, Load<int64_t>(member), text);
      return true;
    case NCDM_TEXT:
    case NCDM_UNION:
      return CopyText(static_cast<const char*>(member), text);
    case NCDM_ENUM:
      return CopyText(NameOf(type, Load<int>(member)), text);
    case NCDM_BITS:
      return WriteBits(type, Load<uint64_t>(member), text);
    case NCDM_BINARY:
      return EncodeBase64(Load<ncdm_binary_t>(member), text);
    case NCDM_EMPTY:
      return CopyText("", text);
    case NCDM_TIME:
      return WriteTime(Load<tm>(member), text);
    default:
      return WriteInteger(type, member, text);
  }
}

nc_dm_val_type_t SocketType(const ncdm_type_t& type) {
  switch (type.kind) {
    case NCDM_BOOL:
      return NC_DM_VAL_TYPE_BOOL;
    case NCDM_INT8:
    case NCDM_INT16:
      return NC_DM_VAL_TYPE_SHORT;
    case NCDM_UINT8:
    case NCDM_UINT16:
      return NC_DM_VAL_TYPE_USHORT;
    case NCDM_INT32:
      return NC_DM_VAL_TYPE_INT;
    case NCDM_UINT32:
      return NC_DM_VAL_TYPE_UINT;
    case NCDM_INT64:
      return NC_DM_VAL_TYPE_LONGLONG;
    case NCDM_UINT64:
      return NC_DM_VAL_TYPE_ULONGLONG;
    case NCDM_TIME:
      return NC_DM_VAL_TYPE_DATATIME;
    default:
      return NC_DM_VAL_TYPE_STRING;
  }
}

bool IsNumber(const ncdm_type_t& type) {
  return SocketType(type) < NC_DM_VAL_TYPE_STRING;  // the types from STRING on are none
}

namespace {

// The 64 bits that a number of the socket's type is extended to, and back.
template <typename Visit>
bool WithObject(const ncdm_type_t& type, Visit visit) {
  switch (SocketType(type)) {
    case NC_DM_VAL_TYPE_SHORT:
      return visit(int16_t{});
    case NC_DM_VAL_TYPE_USHORT:
      return visit(uint16_t{});
    default:
      return WithInteger(type.kind, visit);
  }
}

bool ReadNumber(const ncdm_type_t& type, uint64_t bits, void* member) {
  if (type.kind == NCDM_BOOL) return Store(bits != 0, member);
  return WithInteger(type.kind, [&](auto zero) {
    using Integer = decltype(zero);
    return StoreInteger<Integer>(type, static_cast<Wide<Integer>>(bits), member);
  });
}

}  // namespace

bool ReadObject(const ncdm_type_t& type, const char* object, void* member) {
  if (type.kind == NCDM_TIME) return Store(Load<tm>(object), member);
  if (!IsNumber(type)) return ReadText(type, object, member);
  if (type.kind == NCDM_BOOL) return ReadNumber(type, *object != 0, member);
  return WithObject(type, [&](auto zero) {
    using Object = decltype(zero);
    return ReadNumber(type, static_cast<uint64_t>(Wide<Object>{Load<Object>(object)}), member);
  });
}

bool WriteObject(const ncdm_type_t& type, const void* member, char* object) {
  if (type.kind == NCDM_TIME) return Store(Load<tm>(member), object);
  if (!IsNumber(type)) return WriteText(type, member, object);
  if (type.kind == NCDM_BOOL) return Store(Load<bool>(member), object);
  return WithObject(type, [&](auto zero) {
    using Object = decltype(zero);
    return WithInteger(type.kind, [&](auto integer) {
      return Store(static_cast<Object>(Load<decltype(integer)>(member)), object);
    });
  });
}

bool ReadSlot(const ncdm_type_t& type, const nc_dm_agent_data_block_t& block, int slot,
              void* member) {
  if (!IsNumber(type)) return ReadText(type, block.string_var[slot], member);
  // The block's accessor would cut a number at 32 bits.
  return ReadNumber(type, block.ulong_var[slot], member);
}

}  // namespace ncdm::model
