// Code points, the chunked converters with their replacement rules, and the whole-text
// conversions at the host's boundary.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qk_case_fold.h"
#include "qk_text.h"
#include "qk_utf8.h"

namespace {

// Decodes `bytes` with UTF8_getc over `size` bytes; `moved` is how far the cursor went.
unsigned getc_of(const std::string& bytes, size_t size, size_t* moved = nullptr) {
  const char* cursor = bytes.data();
  const unsigned value = UTF8_getc(&cursor, size);
  if (moved) *moved = size_t(cursor - bytes.data());
  return value;
}

struct Decoded {
  std::u16string units;
  qk::utf8_result result;
};

Decoded to_utf16(const std::string& source, size_t room, bool stop_at_incomplete) {
  std::u16string target(room, u'\x2A');
  const qk::utf8_result r =
      qk_utf8_to_utf16(target.data(), target.data() + room, source, stop_at_incomplete);
  target.resize(size_t(r.written));
  return {target, r};
}

void expect_counts(const qk::utf8_result& r, uint64_t written, uint64_t consumed, uint64_t replaced) {
  EXPECT_EQ(r.written, written);
  EXPECT_EQ(r.consumed, consumed);
  EXPECT_EQ(r.replaced, replaced);
}

// ---- UTF8_getc and UTF8_putc -------------------------------------------------------------------

TEST(Utf8Getc, DecodesByItsOwnArithmetic) {
  size_t moved = 99;
  EXPECT_EQ(getc_of("", 0, &moved), 0u);
  EXPECT_EQ(moved, 0u);
  EXPECT_EQ(getc_of("\x80", 1, &moved), 63u);  // a lone continuation byte
  EXPECT_EQ(moved, 1u);
  EXPECT_EQ(getc_of("\xC3\xA4", 1, &moved), 0u);  // cut by the size
  EXPECT_EQ(moved, 1u);
  EXPECT_EQ(getc_of(std::string("\xC3\x00", 2), 2), 0u);
  EXPECT_EQ(getc_of("\xC3\x41", 2), 63u);
  EXPECT_EQ(getc_of("\xC3\xA4", 2), 0xE4u);
  EXPECT_EQ(getc_of("\xE2\x82\xAC", 3), 0x20ACu);
  EXPECT_EQ(getc_of("\xF0\x9F\x98\x80", 4, &moved), 0x7D8000u);  // not U+1F600, and kept so
  EXPECT_EQ(moved, 4u);
}

TEST(Utf8Next, ReadsAtMostFiveContinuationBytes) {
  const std::string bytes = "\xFF\x80\x80\x80\x80\x80\x80";
  const char* cursor = bytes.c_str();
  qk_utf8_next(&cursor);
  EXPECT_EQ(cursor - bytes.c_str(), 6);
  const char* at_end = "\xE2\x82";  // the terminator ends a cut sequence
  EXPECT_EQ(qk_utf8_next(&at_end), 0u);
}

TEST(Utf8Putc, WritesOnlyWhatFits) {
  char buffer[8] = {};
  char* cursor = buffer;
  EXPECT_EQ(UTF8_putc(&cursor, 3, 0x1F600), 0);
  EXPECT_EQ(cursor, buffer);
  EXPECT_EQ(buffer[0], 0);
  EXPECT_EQ(UTF8_putc(&cursor, 4, 0x1F600), 4);
  EXPECT_EQ(std::string(buffer, 4), "\xF0\x9F\x98\x80");
  cursor = buffer;
  EXPECT_EQ(UTF8_putc(&cursor, 8, 0x200000), 1);
  EXPECT_EQ(buffer[0], '?');
  cursor = buffer;
  EXPECT_EQ(qk_utf8_put(&cursor, 0xD800), 3);  // a surrogate like any other value
  EXPECT_EQ(std::string(buffer, 3), "\xED\xA0\x80");
}

// ---- Chunked converters ------------------------------------------------------------------------

TEST(Utf8ToUtf16, KeepsOneUnitPerCharacter) {
  const Decoded d = to_utf16("a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80", 8, false);
  EXPECT_EQ(d.units, (std::u16string{u'a', 0xE4, 0x20AC, 0xF600}));  // the plane is lost
  expect_counts(d.result, 4, 10, 0);
}

TEST(Utf8ToUtf16, ReplacesBrokenInputAndCountsIt) {
  // A stray continuation byte; a sequence broken by 'A', which is read again as a lead.
  Decoded d = to_utf16("\x80\xE2\x82\x41", 8, false);
  EXPECT_EQ(d.units, (std::u16string{0xFFFD, 0xFFFD, u'A'}));
  expect_counts(d.result, 3, 4, 2);
  // A well-formed U+FFFD counts as replaced as well.
  expect_counts(to_utf16("\xEF\xBF\xBD", 8, false).result, 1, 3, 1);
  // A lead of 0xF8 or more stores nothing: the unit there keeps what it held.
  d = to_utf16("\xF8x", 8, false);
  EXPECT_EQ(d.units, (std::u16string{u'\x2A', u'x'}));
  expect_counts(d.result, 2, 2, 0);
}

TEST(Utf8ToUtf16, IncompleteSequenceStopsOrIsReplaced) {
  const std::string cut = "a\xE2\x82";
  expect_counts(to_utf16(cut, 8, true).result, 1, 1, 0);
  const Decoded d = to_utf16(cut, 8, false);
  EXPECT_EQ(d.units, (std::u16string{u'a', 0xFFFD, 0xFFFD}));
  expect_counts(d.result, 3, 3, 2);
}

TEST(Utf8ToUtf16, AFullTargetTellsWhereToGoOn) {
  expect_counts(to_utf16("\xC3\xA4z", 1, false).result, 1, 2, 0);
}

TEST(Utf16ToUtf8, EncodesUnitsAloneAndStopsBeforeWhatDoesNotFit) {
  const std::u16string units = {u'a', 0xD83D, 0xDE00};
  char target[5];
  const qk::utf8_result r = qk_utf16_to_utf8(target, target + 5, units);
  expect_counts(r, 4, 2, 0);
  EXPECT_EQ(std::string(target, 4), "a\xED\xA0\xBD");
}

TEST(Utf16Length, CountsOverManyChunks) {
  std::string text;
  for (int i = 0; i < 100; ++i) text += "\xC3\xA4";
  text += "\xE2\x82";
  expect_counts(qk_utf16_length(text, true), 100, 200, 0);
  expect_counts(qk_utf16_length(text, false), 102, 202, 2);
}

TEST(Utf8ForEachChunk, HandsOverChunksOf32UntilToldToStop) {
  const std::string text(70, 'x');
  std::vector<size_t> sizes;
  EXPECT_TRUE(qk_utf8_for_each_chunk(text, [&](qk::wchar* b, qk::wchar* e, qk::utf8_result) {
    sizes.push_back(size_t(e - b));
    return true;
  }));
  EXPECT_EQ(sizes, (std::vector<size_t>{32, 32, 6}));
  int calls = 0;
  EXPECT_FALSE(qk_utf8_for_each_chunk(text, [&](qk::wchar*, qk::wchar*, qk::utf8_result) {
    return ++calls < 2;
  }));
  EXPECT_EQ(calls, 2);
}

TEST(TransformUtf8, FoldsInPlaceAndStopsWhenFull) {
  char buffer[256];
  const std::string text = "\xC3\x84" "BC \xE2\x84\xAA";  // Ä, B, C, blank, Kelvin sign
  text.copy(buffer, text.size());
  const qk::utf8_result r =
      qk::transform_utf8(buffer, buffer + 256, std::string_view(buffer, text.size()), qk_case_fold);
  EXPECT_EQ(std::string(buffer, size_t(r.written)), "\xC3\xA4" "bc k");
  EXPECT_EQ(r.consumed, text.size());

  char small[3];
  const std::string long_text(100, 'A');
  const qk::utf8_result cut = qk::transform_utf8(small, small + 3, long_text, qk_case_fold);
  EXPECT_EQ(std::string(small, 3), "aaa");
  EXPECT_EQ(cut.written, 3u);
  EXPECT_EQ(cut.consumed, 32u);  // the whole first chunk
}

// Folds `text` in place at the start of a 256-byte buffer, as a path is folded in its buffer.
std::string fold_in_place(const std::string& text, qk::utf8_result* result = nullptr) {
  char buffer[256];
  text.copy(buffer, sizeof buffer);
  const qk::utf8_result r =
      qk::transform_utf8(buffer, buffer + sizeof buffer, std::string_view(buffer, text.size()), qk_case_fold);
  if (result) *result = r;
  return std::string(buffer, size_t(r.written));
}

std::string fold_apart(const std::string& text, size_t room, qk::utf8_result* result = nullptr) {
  std::string target(room, '#');
  const qk::utf8_result r = qk::transform_utf8(target.data(), target.data() + room, text, qk_case_fold);
  if (result) *result = r;
  return target.substr(0, size_t(r.written));
}

TEST(TransformUtf8, AByteWithoutALeadComesOutAsAReplacementInEveryChunk) {
  // The second 0xFF falls on a unit that held 'a' in the chunk before.
  const std::string text = "\xFF" + std::string(31, 'a') + "\xFF";
  const std::string fffd = "\xEF\xBF\xBD";
  qk::utf8_result r;
  EXPECT_EQ(fold_apart(text, 100, &r), fffd + std::string(31, 'a') + fffd);
  expect_counts(r, 37, 33, 0);
}

TEST(TransformUtf8, TheWalkEndsAtTheFirstCharacterThatDoesNotFit) {
  qk::utf8_result r;
  // The euro sign needs three bytes where one is left; the 'b' of the next chunk must not follow.
  EXPECT_EQ(fold_apart(std::string(31, 'a') + "\xE2\x82\xAC" + "b", 32, &r), std::string(31, 'a'));
  expect_counts(r, 31, 34, 0);
  EXPECT_EQ(fold_apart(std::string("\xC3\x84") + "B", 1, &r), "");  // nothing fits
  EXPECT_EQ(r.written, 0u);
}

TEST(TransformUtf8, InPlaceGivesWhatASeparateTargetGets) {
  const std::string grows = "\xC8\xBA\xC8\xBA" + std::string(30, 'a') + "KK";  // U+023A folds to 3 bytes
  EXPECT_EQ(fold_in_place(grows), "\xE2\xB1\xA5\xE2\xB1\xA5" + std::string(30, 'a') + "kk");
  const std::string texts[] = {grows, std::string(40, '\x80'), "\xFF\xFE" + std::string(60, 'Q'),
                               std::string(200, 'A') + "\xE2\x84\xAA", std::string(250, '\xC0')};
  for (const std::string& text : texts) {
    qk::utf8_result apart, in_place;
    EXPECT_EQ(fold_in_place(text, &in_place), fold_apart(text, 256, &apart));
    expect_counts(in_place, apart.written, apart.consumed, apart.replaced);
  }
  // A target that starts inside the source, behind it.
  char buffer[300];
  const std::string digits = "0123456789012345678901234567890123456789";
  const std::string text = "\xC8\xBA" + digits;
  text.copy(buffer + 10, text.size());
  const qk::utf8_result r =
      qk::transform_utf8(buffer + 11, buffer + 300, std::string_view(buffer + 10, text.size()), qk_case_fold);
  EXPECT_EQ(std::string(buffer + 11, size_t(r.written)), "\xE2\xB1\xA5" + digits);
}

// ---- Whole texts at the boundary ---------------------------------------------------------------

TEST(WideText, RoundTripsTheBasicMultilingualPlane) {
  const std::string text = "a\xC3\xA4\xE2\x82\xAC\xEF\xBF\xBF";  // a, ä, €, U+FFFF
  const qk::wstring wide = qk_to_wide(text);
  EXPECT_EQ(wide, (qk::wstring{u'a', 0xE4, 0x20AC, 0xFFFF}));
  EXPECT_EQ(qk_to_utf8(wide.c_str()), text);
  const std::string long_text(1000, 'z');  // beyond the 256 units in place
  EXPECT_EQ(qk_to_utf8(qk_to_wide(long_text).c_str()), long_text);
}

TEST(WideText, FollowsTheSystemConverter) {
  EXPECT_EQ(qk_to_wide("\x80x"), (qk::wstring{0xFFFD, u'x'}));
  // Counted as one unit, written as a pair: the room is short and the result empty.
  EXPECT_EQ(qk_to_wide("a\xF0\x9F\x98\x80"), qk::wstring());
  EXPECT_EQ(qk_to_wide(std::string_view("ab\0cd", 5)), u"ab");
  const char16_t pair[] = {0xD83D, 0xDE00, 0xD800, 0};  // a pair, then a lone surrogate
  EXPECT_EQ(qk_to_utf8(pair), "\xF0\x9F\x98\x80\xEF\xBF\xBD");
  EXPECT_EQ(qk_to_utf8(nullptr), "");
  EXPECT_EQ(qk_to_utf8(u""), "");
}

}  // namespace
