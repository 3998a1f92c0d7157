// Looked at by contract/one_definition_notices alone, never compiled.
#pragma once

namespace colx::test {

struct Twice {};

namespace {
struct Once {};
}  // namespace

}  // namespace colx::test
