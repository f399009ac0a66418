// Leaf values between their text and their typed object, as a table of the value types.
//
// errno is deliberately not cleared here: a conversion refuses every number while it holds ERANGE,
// and callers clear it before each unit of work.
//
// The text of a DATATIME is not always accepted as a value again: its fields are padded with zeros,
// and a number with a leading zero is refused.
#include <time.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <limits>

#include "netconf_dm_util/decimal.h"
#include "netconf_dm_util/enum_number.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/malloc_ptr.h"
#include "netconf_dm_util/refuse.h"
#include "netconf_dm_util/value_text.h"

namespace {

using nc::Refuse;
using nc::ValueTextBuffer;

// ---- Typed object to text ----

template <typename Integer>
std::string_view IntegerText(const char* typed, ValueTextBuffer buffer) {
  Integer value;
  memcpy(&value, typed, sizeof(value));
  char* begin = buffer.data();
  const char* end = std::to_chars(begin, begin + buffer.size(), value).ptr;
  return {begin, static_cast<size_t>(end - begin)};
}

std::string_view BoolText(const char* typed, ValueTextBuffer) {
  return *typed != 0 ? std::string_view("true") : std::string_view("false");
}

std::string_view StringText(const char* typed, ValueTextBuffer buffer) {
  return {typed, strnlen(typed, buffer.size() - 1)};
}

// As "%0*d" prints: the sign counts for the width and stands before the zeros.
char* AppendPadded(char* at, int value, int width) {
  uint32_t magnitude = static_cast<uint32_t>(value);
  if (value < 0) {
    *at++ = '-';
    magnitude = 0U - magnitude;
    --width;
  }
  std::array<char, 10> digits;
  const char* end = std::to_chars(digits.data(), digits.data() + digits.size(), magnitude).ptr;
  const auto count = static_cast<int>(end - digits.data());
  for (int pad = count; pad < width; ++pad) *at++ = '0';
  memcpy(at, digits.data(), static_cast<size_t>(count));
  return at + count;
}

std::string_view TimeText(const char* typed, ValueTextBuffer buffer) {
  tm time;
  memcpy(&time, typed, sizeof(time));
  // Six fields of at most eleven characters: whatever an application leaves in the record fits the
  // buffer.
  char* at = AppendPadded(buffer.data(), time.tm_year, 4);
  *at++ = '-';
  at = AppendPadded(at, time.tm_mon, 2);
  *at++ = '-';
  at = AppendPadded(at, time.tm_mday, 2);
  *at++ = 'T';
  at = AppendPadded(at, time.tm_hour, 2);
  *at++ = ':';
  at = AppendPadded(at, time.tm_min, 2);
  *at++ = ':';
  at = AppendPadded(at, time.tm_sec, 2);
  return {buffer.data(), static_cast<size_t>(at - buffer.data())};
}

// ---- Text to typed object ----

// Converts as a machine does whose long has 32 bits; so does the next.
int32_t ParseLong(const char* text) {
  const long long value = strtoll(text, nullptr, 10);
  constexpr int32_t kMin = std::numeric_limits<int32_t>::min();
  constexpr int32_t kMax = std::numeric_limits<int32_t>::max();
  if (value >= kMin && value <= kMax) return static_cast<int32_t>(value);
  errno = ERANGE;
  return value < 0 ? kMin : kMax;
}

// A negative number is the magnitude's complement, in range as long as the magnitude is.
uint32_t ParseUnsignedLong(const char* text) {
  const char* digits = text + strspn(text, " \t\n\r");
  const bool negative = *digits == '-';
  const unsigned long long magnitude = strtoull(negative ? digits + 1 : digits, nullptr, 10);
  constexpr uint32_t kMax = std::numeric_limits<uint32_t>::max();
  if (magnitude > kMax) {
    errno = ERANGE;
    return kMax;
  }
  const auto value = static_cast<uint32_t>(magnitude);
  return negative ? 0U - value : value;
}

int64_t ParseLongLong(const char* text) { return strtoll(text, nullptr, 10); }

uint64_t ParseUnsignedLongLong(const char* text) { return strtoull(text, nullptr, 10); }

// Stores the number when it is one of `Integer`.
template <typename Integer, auto Parse>
bool Convert(const char* text, char* typed) {
  const auto value = Parse(text);
  if (errno == ERANGE) return false;
  if (value < std::numeric_limits<Integer>::min() || value > std::numeric_limits<Integer>::max()) {
    return false;
  }
  const auto narrowed = static_cast<Integer>(value);
  memcpy(typed, &narrowed, sizeof(narrowed));
  return true;
}

// The rules by which a number type reads its text.
struct NumberRules {
  size_t size = 0;
  bool (*convert)(const char* text, char* typed) = nullptr;
  const char* not_a_number = nullptr;
  const char* out_of_range = nullptr;
  bool refuses_minus = false;  // as the first character; not behind blanks
};

enum class Sign { kMayBeMinus, kNoMinus };

template <typename Integer, auto Parse>
constexpr NumberRules Number(const char* not_a_number, Sign sign = Sign::kMayBeMinus,
                             const char* out_of_range = "The source value input is invalid!\n") {
  return {.size = sizeof(Integer),
          .convert = Convert<Integer, Parse>,
          .not_a_number = not_a_number,
          .out_of_range = out_of_range,
          .refuses_minus = sign == Sign::kNoMinus};
}

int RefuseForMemory() { return Refuse("Failed to deserialize node, malloc!\n"); }

int ReadNumber(const NumberRules& rules, const char* text, char** typed) {
  if (!nc_dm_is_str_num(text)) return Refuse(rules.not_a_number);
  if (rules.refuses_minus && text[0] == '-') return Refuse("uint32_t val must large than 0!\n");
  nc::MallocPtr<char> number = nc::NewText(rules.size);
  if (number == nullptr) return RefuseForMemory();
  *typed = number.release();
  return rules.convert(text, *typed) ? 0 : Refuse(rules.out_of_range);
}

int ReadBool(const NumberRules&, const char* text, char** typed) {
  nc::MallocPtr<char> value = nc::NewText(1);
  if (value == nullptr) return RefuseForMemory();
  *typed = value.release();
  const std::string_view word = text;
  if (word == "true" || word == "1") {
    **typed = 1;
    return 0;
  }
  if (word == "false" || word == "0") return 0;
  return Refuse("Failed to deserialize node, value invalid!\n");
}

int ReadString(const NumberRules&, const char* text, char** typed) {
  char* copy = nc_dm_copy_str(text);
  if (copy == nullptr) return RefuseForMemory();
  *typed = copy;
  return 0;
}

// A field of a time that ends at a tag; the seconds behind the last one end with the text.
struct TimeField {
  int tm::*field;
  char tag[2];
  const char* failure;
};

constexpr TimeField kTimeFields[] = {
    {&tm::tm_year, "-", "Failed to parse time year!\n"},
    {&tm::tm_mon, "-", "Failed to parse time month!\n"},
    {&tm::tm_mday, "T", "Failed to parse time day!\n"},
    {&tm::tm_hour, ":", "Failed to parse time hour!\n"},
    {&tm::tm_min, ":", "Failed to parse time minutes!\n"},
};

int ReadTime(const NumberRules&, const char* text, char** typed) {
  nc::MallocPtr<tm> time = nc::NewRecord<tm>();
  if (time == nullptr) return RefuseForMemory();
  char* rest = const_cast<char*>(text);
  for (TimeField part : kTimeFields) {
    nc_int32 number = 0;
    nc_int32 length = 0;
    if (nc_dm_parse_str_num(rest, part.tag, &number, &length) != 0) return Refuse(part.failure);
    time.get()->*part.field = number;
    rest += length;
  }
  if (!nc_dm_is_str_num(rest)) return Refuse("Failed to parse time second!\n");
  time->tm_sec = nc::ClampedInt32(rest);
  *typed = reinterpret_cast<char*>(time.release());
  return 0;
}

// ---- The types ----

struct ValueType {
  std::string_view (*text)(const char* typed, ValueTextBuffer buffer);
  int (*read)(const NumberRules& rules, const char* text, char** typed);
  NumberRules number = {};  // of the number types alone
};

constexpr ValueType kValueTypes[] = {
    // BOOL
    {BoolText, ReadBool},
    // SHORT
    {IntegerText<int16_t>, ReadNumber,
     Number<int16_t, ParseLong>("Failed to deserialize node, is not short value!\n")},
    // USHORT
    {IntegerText<uint16_t>, ReadNumber,
     Number<uint16_t, ParseUnsignedLong>(
         "Failed to deserialize node, is not unsigned short value!\n")},
    // INT
    {IntegerText<int32_t>, ReadNumber,
     Number<int32_t, ParseLong>("Failed to deserialize node, is not int32_t val!\n")},
    // UINT
    {IntegerText<uint32_t>, ReadNumber,
     Number<uint32_t, ParseUnsignedLong>("Failed to deserialize node, is not uint32_t val!\n",
                                         Sign::kNoMinus)},
    // LONG
    {IntegerText<int32_t>, ReadNumber,
     Number<int32_t, ParseLong>("Failed to deserialize node, is not long val!\n")},
    // ULONG
    {IntegerText<uint32_t>, ReadNumber,
     Number<uint32_t, ParseUnsignedLong>("Failed to deserialize node, is not unsigend long val!\n",
                                         Sign::kNoMinus)},
    // LONGLONG, whose message names another type
    {IntegerText<int64_t>, ReadNumber,
     Number<int64_t, ParseLongLong>("Failed to deserialize node, is not int32_t val!\n")},
    // ULONGLONG
    {IntegerText<uint64_t>, ReadNumber,
     Number<uint64_t, ParseUnsignedLongLong>(
         "Failed to deserialize node, is not unsigned long long val!\n", Sign::kNoMinus,
         "the source value input is invalid!\n")},
    // STRING
    {StringText, ReadString},
    // DATATIME
    {TimeText, ReadTime},
    // BASE64
    {StringText, ReadString},
    // ANYSIMPLETYPE
    {StringText, ReadString},
};
static_assert(std::size(kValueTypes) == NC_DM_VAL_TYPE_MAX - 1);

// Null for a type that has no values.
const ValueType* FindType(const nc_dm_val_type_t& type) {
  const nc_int32 number = nc::EnumNumber(type);
  const bool has_values = number > NC_DM_VAL_TYPE_UNKNOWN && number < NC_DM_VAL_TYPE_MAX;
  return has_values ? &kValueTypes[number - 1] : nullptr;
}

}  // namespace

std::string_view nc::ValueText(const char* typed, nc_dm_val_type_t type, ValueTextBuffer buffer) {
  const ValueType* value_type = FindType(type);
  return value_type == nullptr ? std::string_view() : value_type->text(typed, buffer);
}

int nc_dm_unserialize_val(char* src_val, char** dest_val, nc_dm_val_type_t val_type) {
  if (src_val == nullptr || dest_val == nullptr) {
    return Refuse("Deserialize node value parmeter invalid!\n");
  }
  NC_DM_LOG_INFO("Deserialize node value, value type:%d.\n", nc::EnumNumber(val_type));
  const ValueType* type = FindType(val_type);
  return type == nullptr ? 0 : type->read(type->number, src_val, dest_val);
}

int nc_dm_serialize_val(char** dm_val, char* src_val, nc_dm_val_type_t val_type) {
  if (src_val == nullptr || dm_val == nullptr) return Refuse("Input parameter is invalid!\n");
  const ValueType* type = FindType(val_type);
  if (type == nullptr) return 0;
  char buffer[NC_DM_VALUE_BUF_SIZE];
  const std::string_view text = type->text(src_val, ValueTextBuffer(buffer));
  auto* copy = static_cast<char*>(malloc(text.size() + 1));
  if (copy == nullptr) return -1;
  memcpy(copy, text.data(), text.size());
  copy[text.size()] = '\0';
  *dm_val = copy;
  return 0;
}
