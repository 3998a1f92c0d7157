// arrow_owner.h: owners of the records of the Arrow C data interface.
#pragma once

#include <utility>

#include "host/arrow_abi.h"

namespace colx::host {

// Owns an ArrowArray or an ArrowSchema, or nothing: the record is released once, when its owner
// goes or takes another, unless it was handed on before. The record itself lies in the owner, so
// its address changes when the owner is moved; what it points at stays.
//
// One thread at a time, as with the record.
template <class Record>
class ArrowOwner {
 public:
  ArrowOwner() = default;
  // Takes over what `record` holds and marks it released, as a move of the interface does.
  explicit ArrowOwner(Record& record) : record_(record) { record.release = nullptr; }
  ArrowOwner(ArrowOwner&& other) noexcept : ArrowOwner(other.record_) {}
  // What was owned is released first.
  ArrowOwner& operator=(ArrowOwner&& other) noexcept {
    if (this != &other) {
      reset();
      record_ = other.record_;
      other.record_.release = nullptr;
    }
    return *this;
  }
  ~ArrowOwner() { reset(); }

  // Nothing is owned: never filled, or handed on.
  bool empty() const { return record_.release == nullptr; }
  // The record, owned or empty; it stays the owner's.
  const Record& operator*() const { return record_; }
  // Its fields.
  const Record* operator->() const { return &record_; }
  // The record, for consumers that may move parts of it out; it stays the owner's.
  Record* get() { return &record_; }

  // An empty record for a producer to fill; what was owned is released.
  Record* receive() {
    reset();
    return &record_;
  }
  // Hands the record on: `out`, whose old content is not looked at, is then its owner's to release.
  void move_to(Record& out) {
    out = record_;
    record_.release = nullptr;
  }
  // Releases what is owned.
  void reset() {
    if (record_.release) record_.release(&record_);
    record_ = {};
  }

 private:
  Record record_{};
};

// Owns rows.
using ArrowArrayOwner = ArrowOwner<ArrowArray>;
// Owns a type.
using ArrowSchemaOwner = ArrowOwner<ArrowSchema>;

}  // namespace colx::host
