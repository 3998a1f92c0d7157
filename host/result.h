// result.h: values or errors, without exceptions; and the rules that all of the toolkit keeps.
//
// Every function of the host toolkit that can be given bad input returns a Result. An error's text
// says what is wrong, where, and what to do about it; nothing that existed before the call has
// changed. Only exhausted memory is not translated: std::bad_alloc passes through. What a comment
// asks for without naming an error is the caller's to keep: it is not checked.
//
// Where a declaration says nothing else:
//
//   ownership  spans, views and references are borrowed for the call and read within their bounds;
//              objects own their memory, with slack behind it for kernels (stream_buffer.h)
//   threads    const functions of an object run on any number of threads at once, others have the
//              object to themselves; functions without an object keep no state
//   units      rows count from 0; sizes are bytes where they do not say bits or rows
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <variant>

namespace colx::host {

// What went wrong.
struct Error {
  std::string message;  // one line: what, where, and what to do
};

// An Error with a printf-formatted message.
[[nodiscard]] Error make_error(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Prints `message` on standard error and ends the program: a Result was opened unchecked.
[[noreturn]] void stop_on_unchecked_error(const std::string& message);

// Either a T or an Error. Ask ok() before opening it: opening an error as a value prints the
// error and aborts, so that a forgotten check is found and never read as data. Not synchronised.
template <class T>
class [[nodiscard]] Result {
 public:
  // A value.
  Result(T value) : content_(std::in_place_index<0>, std::move(value)) {}
  // An error.
  Result(Error error) : content_(std::in_place_index<1>, std::move(error)) {}

  // Whether there is a value.
  bool ok() const { return content_.index() == 0; }
  // The same as ok().
  explicit operator bool() const { return ok(); }

  // The value, which belongs to this Result.
  T& value() & { return checked(), *std::get_if<0>(&content_); }
  const T& value() const& { return checked(), *std::get_if<0>(&content_); }
  T&& value() && { return checked(), std::move(*std::get_if<0>(&content_)); }
  // The same as value().
  T& operator*() { return value(); }
  const T& operator*() const { return value(); }
  // A part of value().
  T* operator->() { return &value(); }
  const T* operator->() const { return &value(); }

  // Only when not ok().
  const Error& error() const { return *std::get_if<1>(&content_); }
  // The text of error().
  const std::string& message() const { return error().message; }

 private:
  void checked() const {
    if (!ok()) stop_on_unchecked_error(message());
  }
  std::variant<T, Error> content_;
};

// Success or an Error, of what has no value to return.
template <>
class [[nodiscard]] Result<void> {
 public:
  Result() = default;
  // An error.
  Result(Error error) : error_(std::move(error)) {}

  // Whether it went well.
  bool ok() const { return !error_; }
  // The same as ok().
  explicit operator bool() const { return ok(); }

  // Nothing; stops the program on an error, as opening it as a value does.
  void value() const {
    if (!ok()) stop_on_unchecked_error(message());
  }

  // Only when not ok().
  const Error& error() const { return *error_; }
  // The text of error().
  const std::string& message() const { return error_->message; }

 private:
  std::optional<Error> error_;
};

}  // namespace colx::host
