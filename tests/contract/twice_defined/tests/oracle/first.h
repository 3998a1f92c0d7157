// Looked at by contract/one_definition_notices alone, never compiled.
#pragma once

namespace colx::test {

struct Once {};

struct Twice {};

}  // namespace colx::test
