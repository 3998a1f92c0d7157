// result.h: values or errors, without exceptions.
//
// Every function of the host toolkit that can be given bad input returns a Result. An error's text
// says what is wrong, where, and what to do about it; nothing that existed before the call has
// changed. Only exhausted memory is not translated: std::bad_alloc passes through.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <variant>

namespace colx::host {

struct Error {
  std::string message;
};

// An Error with a printf-formatted message.
[[nodiscard]] Error make_error(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Prints `message` on standard error and ends the program: a Result was opened unchecked.
[[noreturn]] void stop_on_unchecked_error(const std::string& message);

// Either a T or an Error. Ask ok() before opening it: opening an error as a value prints the
// error and aborts, so that a forgotten check is found and never read as data.
template <class T>
class [[nodiscard]] Result {
 public:
  Result(T value) : content_(std::in_place_index<0>, std::move(value)) {}
  Result(Error error) : content_(std::in_place_index<1>, std::move(error)) {}

  bool ok() const { return content_.index() == 0; }
  explicit operator bool() const { return ok(); }

  T& value() & { return checked(), *std::get_if<0>(&content_); }
  const T& value() const& { return checked(), *std::get_if<0>(&content_); }
  T&& value() && { return checked(), std::move(*std::get_if<0>(&content_)); }
  T& operator*() { return value(); }
  const T& operator*() const { return value(); }
  T* operator->() { return &value(); }
  const T* operator->() const { return &value(); }

  // Only when not ok().
  const Error& error() const { return *std::get_if<1>(&content_); }
  const std::string& message() const { return error().message; }

 private:
  void checked() const {
    if (!ok()) stop_on_unchecked_error(message());
  }
  std::variant<T, Error> content_;
};

template <>
class [[nodiscard]] Result<void> {
 public:
  Result() = default;
  Result(Error error) : error_(std::move(error)) {}

  bool ok() const { return !error_; }
  explicit operator bool() const { return ok(); }

  // Only when not ok().
  const Error& error() const { return *error_; }
  const std::string& message() const { return error_->message; }

 private:
  std::optional<Error> error_;
};

}  // namespace colx::host
