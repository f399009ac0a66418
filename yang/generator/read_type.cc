#include "read_type.h"

#include <algorithm>
#include <map>
#include <set>
#include <span>

#include "identifiers.h"
#include "pattern_translation.h"

namespace ncdm::yang {
namespace {

// A value's text has at most so many bytes: the agent passes on no more.
constexpr size_t kMaxText = 255;
constexpr size_t kBytesPerCharacter = 4;
constexpr uint32_t kMaxBits = 64;

struct Plain {
  LY_DATA_TYPE base;
  Kind kind;
  const char* yang;
};
constexpr Plain kIntegers[] = {
    {LY_TYPE_INT8, Kind::kInt8, "int8"},       {LY_TYPE_INT16, Kind::kInt16, "int16"},
    {LY_TYPE_INT32, Kind::kInt32, "int32"},    {LY_TYPE_INT64, Kind::kInt64, "int64"},
    {LY_TYPE_UINT8, Kind::kUint8, "uint8"},    {LY_TYPE_UINT16, Kind::kUint16, "uint16"},
    {LY_TYPE_UINT32, Kind::kUint32, "uint32"}, {LY_TYPE_UINT64, Kind::kUint64, "uint64"},
};

template <typename YangType>
const YangType& As(const lysc_type& type) {
  return reinterpret_cast<const YangType&>(type);
}

std::vector<Range> ReadRanges(const lysc_range* range) {
  std::vector<Range> ranges;
  if (range == nullptr) return ranges;
  // Signed and unsigned bounds share their place.
  for (const auto& part : Sized(range->parts)) ranges.push_back({part.min_64, part.max_64});
  return ranges;
}

Type ReadInteger(const lysc_type& base, const Plain& plain) {
  Type type;
  type.yang = plain.yang;
  type.kind = plain.kind;
  type.is_unsigned = plain.kind >= Kind::kUint8;
  type.ranges = ReadRanges(As<lysc_type_num>(base).range);
  return type;
}

Type ReadString(const lysc_type& base, const std::string& where) {
  const auto& text = As<lysc_type_str>(base);
  Type type;
  type.yang = "string";
  type.kind = Kind::kText;
  type.is_unsigned = true;
  type.ranges = ReadRanges(text.length);
  uint64_t longest = kMaxText;
  if (!type.ranges.empty()) longest = static_cast<uint64_t>(type.ranges.back().max);
  type.size =
      std::min<uint64_t>(std::min<uint64_t>(longest, kMaxText) * kBytesPerCharacter, kMaxText) + 1;
  for (const lysc_pattern* pattern : Sized(text.patterns)) {
    const auto translated = ForPcre2(pattern->expr);
    if (!translated) {
      throw Refusal(where + ": pattern '" + pattern->expr + "' cannot be said in PCRE2");
    }
    type.patterns.push_back({*translated, pattern->inverted != 0});
  }
  return type;
}

Type ReadEnumeration(const lysc_type& base) {
  Type type;
  type.yang = "enumeration";
  type.kind = Kind::kEnum;
  for (const auto& item : Sized(As<lysc_type_enum>(base).enums)) {
    type.names.push_back({item.name, item.value, ""});
  }
  return type;
}

Type ReadBits(const lysc_type& base, const std::string& where) {
  Type type;
  type.yang = "bits";
  type.kind = Kind::kBits;
  for (const auto& item : Sized(As<lysc_type_bits>(base).bits)) {
    if (item.position >= kMaxBits) {
      throw Refusal(where + ": bits: bit '" + item.name + "' has a position above " +
                    std::to_string(kMaxBits - 1));
    }
    type.names.push_back({item.name, item.position, ""});
  }
  return type;
}

void CollectDerived(const lysc_ident& base, std::set<const lysc_ident*>& derived) {
  for (const lysc_ident* identity : Sized(base.derived)) {
    if (derived.insert(identity).second) CollectDerived(*identity, derived);
  }
}

// All identities that are derived from every base, by module and name.
std::vector<std::string> Identities(const lysc_type_identityref& type) {
  std::map<std::string, size_t> counts;
  const auto bases = Sized(type.bases);
  for (const lysc_ident* base : bases) {
    std::set<const lysc_ident*> derived;
    CollectDerived(*base, derived);
    for (const lysc_ident* identity : derived) {
      ++counts[std::string(identity->module->name) + ":" + identity->name];
    }
  }
  std::vector<std::string> names;
  for (const auto& [name, count] : counts) {
    if (count == bases.size()) names.push_back(name);
  }
  return names;
}

Type AnyText(const char* yang) {
  Type type;
  type.yang = yang;
  type.kind = Kind::kText;
  type.size = kMaxText + 1;
  type.is_unsigned = true;
  return type;
}

// Without a known identity there is nothing to check against: other modules bring them.
Type ReadIdentityref(const lysc_type& base) {
  const auto& identityref = As<lysc_type_identityref>(base);
  const auto names = Identities(identityref);
  if (names.empty()) return AnyText("identityref");
  Type type;
  type.yang = "identityref";
  type.kind = Kind::kEnum;
  for (const std::string& name : names) {
    type.names.push_back({name, static_cast<int64_t>(type.names.size() + 1), ""});
  }
  for (const lysc_ident* ident : Sized(identityref.bases)) {
    type.c_name += (type.c_name.empty() ? "" : "_") + Identifier(ident->name);
  }
  return type;
}

Type ReadDecimal(const lysc_type& base) {
  const auto& decimal = As<lysc_type_dec>(base);
  Type type;
  type.yang = "decimal64";
  type.kind = Kind::kDecimal64;
  type.fraction_digits = decimal.fraction_digits;
  type.ranges = ReadRanges(decimal.range);
  return type;
}

Type ReadBinary(const lysc_type& base) {
  Type type;
  type.yang = "binary";
  type.kind = Kind::kBinary;
  type.is_unsigned = true;
  type.ranges = ReadRanges(As<lysc_type_bin>(base).length);
  return type;
}

Type Simple(const char* yang, Kind kind) {
  Type type;
  type.yang = yang;
  type.kind = kind;
  return type;
}

Type ReadUnion(const lysc_type& base, const std::string& where) {
  Type type = AnyText("union");
  type.kind = Kind::kUnion;
  for (const lysc_type* member : Sized(As<lysc_type_union>(base).types)) {
    type.members.push_back(ReadType(*member, where));
  }
  return type;
}

}  // namespace

Type ReadType(const lysc_type& type, const std::string& where) {
  for (const Plain& plain : kIntegers) {
    if (plain.base == type.basetype) return ReadInteger(type, plain);
  }
  switch (type.basetype) {
    case LY_TYPE_STRING:
      return ReadString(type, where);
    case LY_TYPE_BOOL:
      return Simple("boolean", Kind::kBool);
    case LY_TYPE_EMPTY:
      return Simple("empty", Kind::kEmpty);
    case LY_TYPE_ENUM:
      return ReadEnumeration(type);
    case LY_TYPE_BITS:
      return ReadBits(type, where);
    case LY_TYPE_IDENT:
      return ReadIdentityref(type);
    case LY_TYPE_DEC64:
      return ReadDecimal(type);
    case LY_TYPE_BINARY:
      return ReadBinary(type);
    case LY_TYPE_UNION:
      return ReadUnion(type, where);
    case LY_TYPE_INST:
      return AnyText("instance-identifier");
    case LY_TYPE_LEAFREF:
      return ReadType(*As<lysc_type_leafref>(type).realtype, where);
    default:
      throw Refusal(where + ": a type that is not known");
  }
}

}  // namespace ncdm::yang
