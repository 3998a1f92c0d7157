#include "bench/support/sample_texts.h"

#include <cmath>
#include <cstdio>
#include <iterator>
#include <string_view>

namespace colx::bench {
namespace {

// splitmix64 (Steele, Lea, Flood: Fast Splittable Pseudorandom Number Generators, 2014).
class Random {
 public:
  explicit Random(uint64_t seed) : state_(seed) {}
  uint64_t below(uint64_t bound) {
    uint64_t z = state_ += 0x9E3779B97F4A7C15;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EB;
    return (z ^ (z >> 31)) % bound;
  }

 private:
  uint64_t state_;
};

// Common words, the most frequent first.
constexpr std::string_view words[] = {
    "the",        "of",        "and",        "to",         "a",          "in",         "that",
    "is",         "was",       "it",         "for",        "on",         "with",       "as",
    "he",         "be",        "by",         "at",         "his",        "had",        "not",
    "from",       "they",      "but",        "which",      "she",        "or",         "were",
    "her",        "have",      "this",       "one",        "an",         "are",        "all",
    "when",       "their",     "there",      "would",      "been",       "who",        "more",
    "what",       "no",        "said",       "if",         "out",        "so",         "its",
    "into",       "up",        "time",       "about",      "them",       "than",       "could",
    "only",       "some",      "then",       "other",      "these",      "after",      "many",
    "before",     "over",      "people",     "through",    "must",       "where",      "long",
    "years",      "under",     "light",      "water",      "house",      "against",    "between",
    "morning",    "letter",    "winter",     "nothing",    "because",    "without",    "another",
    "thought",    "evening",   "country",    "himself",    "question",   "children",   "looked",
    "garden",     "window",    "village",    "remember",   "together",   "answered",   "something",
    "mountain",   "journey",   "silence",    "machine",    "number",     "history",    "reason",
    "kitchen",    "station",   "picture",    "neighbour",  "carried",    "followed",   "standing",
    "believed",   "afternoon", "strange",    "ordinary",   "captain",    "teacher",    "engine",
    "measure",    "harbour",   "weather",    "promise",    "borrowed",   "library",    "quietly",
    "beautiful",  "certainly", "perhaps",    "although",   "understand", "difference", "government",
    "experience", "beginning", "everything", "discovered", "yesterday",  "direction",  "important",
    "company",    "service",   "problem",    "general",    "several",    "possible",   "among",
    "often",      "present",   "money",      "almost",     "early",      "sound",      "river",
    "table",      "paper",     "voice",      "stone",      "horse",      "bread",      "cloud",
    "field",      "green",     "sleep",      "dark"};

constexpr std::string_view note_words[] = {
    "requests", "accounts", "packages", "deposits",  "orders",       "pending",    "special",
    "regular",  "express",  "final",    "carefully", "quickly",      "slyly",      "above",
    "the",      "along",    "ironic",   "bold",      "sleep",        "wake",       "haggle",
    "nag",      "among",    "even",     "silent",    "instructions", "theodolites"};

std::string name_of(Random&, size_t number) {
  char text[32];
  std::snprintf(text, sizeof text, "Customer#%09zu", number + 1);
  return text;
}

std::string address_of(Random& random, size_t) {
  constexpr std::string_view letters =
      "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ, ";
  std::string text(10 + random.below(16), ' ');
  for (char& letter : text) letter = letters[random.below(letters.size())];
  return text;
}

std::string phone_of(Random& random, size_t) {
  char text[32];
  std::snprintf(text, sizeof text, "%u-%03u-%03u-%04u", unsigned(10 + random.below(25)),
                unsigned(100 + random.below(900)), unsigned(100 + random.below(900)),
                unsigned(1000 + random.below(9000)));
  return text;
}

std::string comment_of(Random& random, size_t) {
  const size_t bytes = 10 + random.below(51);
  std::string text;
  while (text.size() < bytes) {
    text += note_words[random.below(std::size(note_words))];
    text += random.below(6) == 0 ? ". " : " ";
  }
  return text.substr(0, bytes);
}

// Word number n comes about 1 / n as often as the first one.
std::string_view frequent_word(Random& random) {
  const double part = static_cast<double>(random.below(1 << 24)) / (1 << 24);
  const double rank = std::exp(part * std::log(static_cast<double>(std::size(words)) + 1.0));
  return words[static_cast<size_t>(rank) - 1];
}

std::string sentence_of(Random& random, size_t) {
  const size_t length = 4 + random.below(18);
  std::string text;
  for (size_t i = 0; i < length; ++i) {
    if (i > 0) text += random.below(9) == 0 ? ", " : " ";
    text += frequent_word(random);
  }
  text.front() = static_cast<char>(text.front() - 'a' + 'A');
  return text + (random.below(12) == 0 ? "?\n" : ". ");
}

std::vector<uint8_t> repeat(std::string (*value_of)(Random&, size_t), size_t bytes) {
  Random random(bytes);
  std::string text;
  for (size_t number = 0; text.size() < bytes; ++number) text += value_of(random, number);
  return {text.begin(), text.begin() + static_cast<ptrdiff_t>(bytes)};
}

}  // namespace

std::vector<SampleText> sample_texts(size_t bytes) {
  return {{"names", repeat(name_of, bytes)},
          {"addresses", repeat(address_of, bytes)},
          {"phones", repeat(phone_of, bytes)},
          {"comments", repeat(comment_of, bytes)},
          {"prose", repeat(sentence_of, bytes)}};
}

}  // namespace colx::bench
