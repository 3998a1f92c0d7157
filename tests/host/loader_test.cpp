// The loader against the real library and against copies of it with one thing wrong each.
#include "host/loader.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

namespace colx::host {
namespace {

constexpr Processor able{true, true};

std::string real_library() {
  std::ifstream stream(COLX_LIBRARY_FILE, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

// A file for the length of a test.
class MadeUpFile {
 public:
  explicit MadeUpFile(const std::string& content) {
    static int number = 0;
    path_ = testing::TempDir() + "/made_up_" + std::to_string(getpid()) + "_" +
            std::to_string(++number) + ".so";
    std::ofstream(path_, std::ios::binary) << content;
  }
  ~MadeUpFile() { std::remove(path_.c_str()); }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

std::string replaced(std::string content, const std::string& from, const std::string& to) {
  EXPECT_EQ(from.size(), to.size());
  size_t places = 0;
  for (size_t at = 0; (at = content.find(from, at)) != std::string::npos; at += to.size(), ++places)
    content.replace(at, from.size(), to);
  EXPECT_GT(places, 0u) << from;
  return content;
}

std::string open_error(const std::string& file, Processor processor = able) {
  const auto library = Library::open(file, processor);
  return library ? "no error" : library.message();
}

std::string error_for(const std::string& content) {
  const MadeUpFile file(content);
  const std::string message = open_error(file.path());
  EXPECT_EQ(message.find(file.path() + ": "), 0u) << message;
  return message.substr(file.path().size() + 2);
}

TEST(Loader, OpensTheLibraryAndReadsItsRecord) {
  const auto library = Library::open(COLX_LIBRARY_FILE);
  ASSERT_TRUE(library) << library.message();
  EXPECT_EQ(library->record().colx_sctx_magic, 0xB9018218u);
  EXPECT_STREQ(library->record().colx_sctx_version, "19.1-1");
  EXPECT_STREQ(library->record().colx_sctx_name, "tvlpsse4219");
  EXPECT_EQ(library->file(), COLX_LIBRARY_FILE);
}

TEST(Loader, RefusesAProcessorBeforeItLooksForTheFile) {
  const std::string nowhere = "/nowhere/at/all.so";
  EXPECT_EQ(open_error(nowhere, {false, true}),
            "this processor lacks SSE4.2, which the kernels need; no library was opened");
  EXPECT_EQ(open_error(nowhere, {true, false}),
            "this processor lacks POPCNT, which the kernels need; no library was opened");
  EXPECT_EQ(
      open_error(nowhere, {false, false}),
      "this processor lacks SSE4.2 and POPCNT, which the kernels need; no library was opened");
}

TEST(Loader, SaysThatANameIsMissing) {
  EXPECT_EQ(Library::open("").message(),
            "the name of a library file is missing; libcolx_x86.so is searched for");
}

TEST(Loader, SaysThatAFileIsMissing) {
  EXPECT_EQ(open_error("/nowhere/at/all.so"),
            "/nowhere/at/all.so: cannot be opened: No such file or directory");
}

TEST(Loader, SaysThatADirectoryIsNoLibrary) {
  EXPECT_EQ(open_error("/"), "/: cannot be read: Is a directory");
}

TEST(Loader, PassesOnTheReasonWhenASearchedNameIsNotFound) {
  const std::string message = open_error("libcolx_that_nobody_installed.so");
  EXPECT_EQ(message.find("libcolx_that_nobody_installed.so: cannot be loaded: "), 0u) << message;
}

TEST(Loader, SaysThatAFileIsNotElf) {
  EXPECT_EQ(error_for(""), "not an ELF file");
  EXPECT_EQ(error_for("\x7f"
                      "EL"),
            "not an ELF file");
  EXPECT_EQ(error_for("#!/bin/sh\nexit 0\n"), "not an ELF file");
}

TEST(Loader, SaysThatAHeaderIsCutShort) {
  EXPECT_EQ(error_for(real_library().substr(0, 40)), "ends within its ELF header (40 bytes)");
}

TEST(Loader, SaysThatAFileIsForAnotherMachine) {
  std::string other_class = real_library();
  other_class[4] = 1;
  EXPECT_EQ(error_for(other_class), "an ELF file, but not for 64-bit x86-64");
  std::string big_endian = real_library();
  big_endian[5] = 2;
  EXPECT_EQ(error_for(big_endian), "an ELF file, but not for 64-bit x86-64");
  std::string other_machine = real_library();
  other_machine[18] = static_cast<char>(183);
  EXPECT_EQ(error_for(other_machine), "an ELF file, but not for 64-bit x86-64");
}

TEST(Loader, SaysThatAFileIsNoSharedObject) {
  std::string relocatable = real_library();
  relocatable[16] = 1;
  EXPECT_EQ(error_for(relocatable), "an ELF file, but not a shared object");
}

TEST(Loader, PassesOnTheReasonWhenTheSystemRefusesALibrary) {
  EXPECT_EQ(error_for(real_library().substr(0, 64)).find("cannot be loaded: "), 0u);
  const std::string unresolved =
      error_for(replaced(real_library(), "host_raise_internal", "host_raise_internaX"));
  EXPECT_EQ(unresolved.find("cannot be loaded: "), 0u) << unresolved;
  EXPECT_NE(unresolved.find("host_raise_internaX"), std::string::npos) << unresolved;
}

TEST(Loader, SaysThatTheRecordIsMissing) {
  EXPECT_EQ(error_for(replaced(real_library(), "colx_global_specialized_ctx",
                               "colx_global_specialized_ctX")),
            "a shared object without colx_global_specialized_ctx: not a kernel library");
}

TEST(Loader, SaysThatTheKernelNamesAreMissing) {
  EXPECT_EQ(
      error_for(replaced(real_library(), "colx_dispatch_func_names", "colx_dispatch_func_nameX")),
      "does not export colx_dispatch_func_names");
}

TEST(Loader, RefusesAWrongMagicVersionOrName) {
  const std::string magic("\x18\x82\x01\xB9\0\0\0\0", 8);
  const std::string other("\x19\x82\x01\xB9\0\0\0\0", 8);
  EXPECT_EQ(error_for(replaced(real_library(), magic, other)),
            "its record has magic 0xB9018219, not 0xB9018218: not a kernel library");
  EXPECT_EQ(error_for(replaced(real_library(), "19.1-1", "19.1-2")),
            "has version \"19.1-2\", this host was built for \"19.1-1\"");
  EXPECT_EQ(error_for(replaced(real_library(), "tvlpsse4219", "tvlpsse4220")),
            "is the variant \"tvlpsse4220\", this host needs \"tvlpsse4219\"");
}

// A record in this program: what no file on disk would have.
struct MadeUpRecord {
  colx_kernel_fn slots[COLX_DISPATCH_SLOTS] = {};
  const char* names[COLX_DISPATCH_SLOTS] = {};
  colx_specialized_ctx record{};
  MadeUpRecord() {
    record.colx_sctx_magic = COLX_SCTX_MAGIC;
    record.colx_sctx_version = COLX_SCTX_VERSION;
    record.colx_sctx_name = COLX_SCTX_NAME;
    record.colx_sctx_dispatch = slots;
    for (const char*& name : names) name = "colx_invalid_dispatch";
  }
  Result<Library> attach() { return Library::attach(record, names, "made up", able); }
};

TEST(Loader, AttachRefusesWhatARecordMayLack) {
  MadeUpRecord made;
  EXPECT_EQ(Library::attach(made.record, nullptr, "made up", able).message(),
            "made up: attached without its table of kernel names");
  EXPECT_EQ(Library::attach(made.record, made.names, "made up", {false, true}).message(),
            "this processor lacks SSE4.2, which the kernels need; no library was opened");
  made.record.colx_sctx_dispatch = nullptr;
  EXPECT_EQ(made.attach().message(), "made up: its record has no dispatch table");
  made.record.colx_sctx_name = nullptr;
  EXPECT_EQ(made.attach().message(),
            "made up: is the variant \"(none)\", this host needs \"tvlpsse4219\"");
  made.record.colx_sctx_version = nullptr;
  EXPECT_EQ(made.attach().message(),
            "made up: has version \"(none)\", this host was built for \"19.1-1\"");
}

void some_setup(uint64_t) {}
uint32_t some_thread_call() {
  return 0;
}

TEST(Loader, NamesMissingFunctionsInTheRecordsOrder) {
  MadeUpRecord made;
  made.record.colx_sctx_init_sharedlib = some_setup;
  made.record.colx_sctx_thread_ctx_fini = some_thread_call;
  const auto missing = made.attach()->missing_functions();
  ASSERT_EQ(missing.size(), 50u);
  EXPECT_EQ(missing.front(), "colx_set_trace_level_dydi");
  EXPECT_EQ(missing[1], "colx_lbivpopcnt_dydi");
  EXPECT_EQ(missing[18], "colx_lbiwvpopcnt_dydi");
  EXPECT_EQ(missing[35], "colx_bloom_dydi");
  EXPECT_EQ(missing.back(), "colx_thread_ctx_init_dydi");
}

TEST(Loader, MissingFunctionsOfAFileAreThoseThatItDoesNotExport) {
  const auto library = Library::open(COLX_LIBRARY_FILE);
  ASSERT_TRUE(library) << library.message();
  for (const std::string& function : library->missing_functions()) {
    EXPECT_NE(function, "colx_lbiwvand_dydi");
    EXPECT_EQ(function.find("colx_"), 0u);
  }
}

uint32_t some_kernel() {
  return 7;
}

TEST(Loader, HandsOutKernelsByTheirShape) {
  MadeUpRecord made;
  const uint8_t key = colx_column_key(COLX_ENC_DICT, colx_width_code(13), COLX_FORM_PLAIN);
  const uint8_t null_key = colx_column_key(COLX_ENC_DICT, colx_width_code(13), COLX_FORM_VARIANT);
  for (const uint32_t opc : {COLX_OPC_EQ, COLX_OPC_GE_LE, COLX_OPC_DECODE_UNPACK, COLX_OPC_SET})
    made.slots[colx_column_index(opc, key)] = reinterpret_cast<colx_kernel_fn>(some_kernel);
  made.names[colx_column_index(COLX_OPC_EQ, key)] = "colx_eq_dict_13bit";
  const auto library = made.attach();
  EXPECT_TRUE(library->scan_kernel(COLX_OPC_EQ, key));
  EXPECT_TRUE(library->range_scan_kernel(COLX_OPC_GE_LE, key));
  EXPECT_TRUE(library->decode_kernel(COLX_OPC_DECODE_UNPACK, key));
  EXPECT_TRUE(library->binary_kernel(COLX_OPC_SET, key));
  EXPECT_STREQ(library->kernel_name(COLX_OPC_EQ, key), "colx_eq_dict_13bit");
  EXPECT_STREQ(library->kernel_name(COLX_OPC_EQ, null_key), "colx_invalid_dispatch");

  EXPECT_EQ(library->scan_kernel(COLX_OPC_GE_LE, key).message(),
            "colx_ge_le_dict_13bit is not a one-sided scan operation");
  EXPECT_EQ(library->range_scan_kernel(COLX_OPC_EQ, key).message(),
            "colx_eq_dict_13bit is not a range scan operation");
  EXPECT_EQ(library->decode_kernel(COLX_OPC_SET, key).message(),
            "colx_set_dict_13bit is not a decode operation");
  EXPECT_EQ(library->binary_kernel(COLX_OPC_DECODE, key).message(),
            "colx_decode_dict_13bit is not a two-vector operation");
  EXPECT_EQ(library->scan_kernel(COLX_OPC_LT, null_key).message(),
            "made up: has no kernel colx_lt_dict_13bit_null");
}

TEST(Loader, NamesTheKernelThatASlotIsMeantFor) {
  const auto name = [](uint32_t opc, uint32_t encoding, uint32_t code, uint32_t form) {
    return expected_kernel_name(opc, colx_column_key(encoding, code, form));
  };
  EXPECT_EQ(name(COLX_OPC_EQ, COLX_ENC_DICT, colx_width_code(8), 0), "colx_eq_dict_8bit");
  EXPECT_EQ(name(COLX_OPC_GE_LE, COLX_ENC_DICT, colx_width_code(20), 1),
            "colx_ge_le_dict_20bit_null");
  EXPECT_EQ(name(COLX_OPC_LT, COLX_ENC_FIXED, colx_width_code(64), 1), "colx_lt_fixed_64bit_tz");
  EXPECT_EQ(name(COLX_OPC_NE, COLX_ENC_DYNP, colx_width_code(32), 0), "colx_ne_dynp_32bit");
  EXPECT_EQ(name(COLX_OPC_SUM, COLX_ENC_DICT, colx_width_code(24), 0), "colx_sum_dict_24bit");
  EXPECT_EQ(name(COLX_OPC_BURST, COLX_ENC_RLE, COLX_WIDTH_BURST_8BIT, 0), "colx_burst_rle_8bit");
  EXPECT_EQ(name(COLX_OPC_BURST, COLX_ENC_RLE, COLX_WIDTH_BURST_16BIT_CLA, 0),
            "colx_burst_rle_16bit_cla");
  EXPECT_EQ(name(COLX_OPC_ADD, COLX_ENC_FIXED, 0, 0), "of operation add, column key 0");
  EXPECT_EQ(expected_kernel_name(30, 5), "of operation 30, column key 5");
}

TEST(Loader, CopiesOutliveTheFirst) {
  auto first = std::make_unique<Result<Library>>(Library::open(COLX_LIBRARY_FILE));
  ASSERT_TRUE(*first) << first->message();
  const Library second = **first;
  first.reset();
  EXPECT_EQ(second.record().colx_sctx_magic, COLX_SCTX_MAGIC);
}

}  // namespace
}  // namespace colx::host
