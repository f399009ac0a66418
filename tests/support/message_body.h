// The body of a message on the socket, field by field and without the library's help.
#ifndef TESTS_SUPPORT_MESSAGE_BODY_H_
#define TESTS_SUPPORT_MESSAGE_BODY_H_

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ncdm_test {

// Writes a body field by field.
class Body {
 public:
  Body& Int32(int32_t value) { return Raw(&value, sizeof(value)); }
  Body& Int64(int64_t value) { return Raw(&value, sizeof(value)); }
  Body& Text(std::string_view text) {
    Int32(static_cast<int32_t>(text.size()));
    return Raw(text.data(), text.size());
  }
  // The ids of a list entry, behind their count.
  Body& Ids(const std::vector<int64_t>& ids) {
    Int32(static_cast<int32_t>(ids.size()));
    for (int64_t id : ids) Int64(id);
    return *this;
  }
  // An entry of an edit list.
  Body& Edit(int flag, int op, std::string_view name, std::optional<std::string_view> value,
             const std::vector<int64_t>& ids = {}, int defop = 0, int erropt = 0) {
    Int32(flag).Int32(op).Int32(defop).Int32(erropt).Int32(0).Int32(value ? 1 : 0).Text(name);
    if (value) Text(*value);
    return Ids(ids);
  }
  // An entry of a filter list.
  Body& Filter(std::string_view name, std::optional<std::string_view> value = std::nullopt,
               const std::vector<int64_t>& ids = {}) {
    Int32(value ? 1 : 0).Text(name);
    if (value) Text(*value);
    return Ids(ids);
  }

  const std::string& bytes() const { return bytes_; }
  size_t size() const { return bytes_.size(); }
  // The first bytes alone.
  Body Cut(size_t size) const {
    Body cut;
    cut.bytes_ = bytes_.substr(0, size);
    return cut;
  }
  operator std::string_view() const { return bytes_; }  // NOLINT: a body is its bytes

 private:
  Body& Raw(const void* bytes, size_t size) {
    bytes_.append(static_cast<const char*>(bytes), size);
    return *this;
  }

  std::string bytes_;
};

// Reads a body field by field. Fields that are not there fail the test.
class BodyReader {
 public:
  // The bytes must outlive it.
  explicit BodyReader(std::string_view bytes) : bytes_(bytes) {}

  int32_t Int32() { return Integer<int32_t>(); }
  int64_t Int64() { return Integer<int64_t>(); }
  std::string Text() {
    const auto len = static_cast<size_t>(Int32());
    return Has(len) ? Take(len) : "";
  }
  bool AtEnd() const { return position_ == bytes_.size(); }

 private:
  template <typename T>
  T Integer() {
    T value = 0;
    if (Has(sizeof(value))) memcpy(&value, Take(sizeof(value)).data(), sizeof(value));
    return value;
  }
  bool Has(size_t len) {
    if (len <= bytes_.size() - position_) return true;
    ADD_FAILURE() << "the body ends before " << position_ + len << " bytes";
    return false;
  }
  std::string Take(size_t len) {
    position_ += len;
    return std::string(bytes_.substr(position_ - len, len));
  }

  std::string_view bytes_;
  size_t position_ = 0;
};

}  // namespace ncdm_test

#endif  // TESTS_SUPPORT_MESSAGE_BODY_H_
