// What a fuzzer's bytes stand for. Bytes are taken from the front; when they have run out
// everything reads as 0, so that the callbacks of an application may go on asking.
#ifndef FUZZ_INPUT_H_
#define FUZZ_INPUT_H_

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <algorithm>
#include <array>
#include <string>

namespace ncdm_fuzz {

class Input {
 public:
  Input(const uint8_t* bytes, size_t size) : at_(bytes), left_(size) {}

  bool AtEnd() const { return left_ == 0; }
  size_t left() const { return left_; }

  template <typename T>
  T Number() {
    T value = 0;
    Copy(&value, sizeof(value));
    return value;
  }
  uint8_t Byte() { return Number<uint8_t>(); }
  // Below `limit`, which is at most 256.
  size_t Below(size_t limit) { return Byte() % limit; }
  bool Chance(size_t one_in) { return Below(one_in) == 1; }

  std::string Bytes(size_t count) {
    count = std::min(count, left_);
    std::string bytes(reinterpret_cast<const char*>(at_), count);
    Skip(count);
    return bytes;
  }
  // A text behind its length, a byte.
  std::string Text() { return Bytes(Byte()); }
  std::string Rest() { return Bytes(left_); }

  template <typename T, size_t kSize>
  const T& OneOf(const std::array<T, kSize>& choices) {
    return choices[Below(kSize)];
  }

 private:
  void Copy(void* to, size_t count) {
    count = std::min(count, left_);
    if (count > 0) memcpy(to, at_, count);
    Skip(count);
  }
  void Skip(size_t count) {
    at_ += count;
    left_ -= count;
  }

  const uint8_t* at_;
  size_t left_;
};

}  // namespace ncdm_fuzz

#endif  // FUZZ_INPUT_H_
