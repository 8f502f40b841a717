#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "video/VideoStandard.h"

/// All video standards that the board handles, as constant data in two levels: the timing classes
/// hold the columns that repeat, and the lines hold the rest, one line for each range of ids.
/// Expanded at compile time into one row for each id.
///
/// Enumerations stand as their numbers, as in the tables of the hardware.
namespace video_standard_table {

/// The columns of a row that depend on its timing alone.
struct TimingClass {
  std::uint16_t totalSamples, totalLines;
  std::uint16_t field1FirstLine, field1Lines, field2FirstLine, field2Lines;
  std::uint16_t fieldMarkLine1, fieldMarkLine2;
  std::uint8_t frameRate, fieldCode;
  std::uint16_t refLine, refSample;
  std::uint16_t switchLine1, switchLine2;
  std::uint16_t auxLines;
  float linePeriod;    // 27 MHz ticks
  float activeOffset;  // samples
  std::uint8_t fractional, segmentedOrFilm;
  std::uint16_t payloadLine1, payloadLine2;
};

// clang-format off
inline constexpr std::array<TimingClass, 35> kTimingClasses{{
  // total     field 1   field 2    mark line frameRate     switch  aux   line    active  fractional
  // samples   first     first        1       |  fieldCode  line    line  period  offset  |  segmentedOrFilm
  //     lines    lines     lines          2  |  |  ref ln, smp 1, 2      27 MHz  smp     |  |  payload ln 1, 2
  {   1,    1,  1,    1,   1,   1,    1,   1, 7, 1, 1,   1,  1,   1,  1,    1.0F,   1.0F, 1, 0,  0,   0},  // T1
  { 300,  220, 21,  100, 584, 100,    1, 564, 4, 3, 6, 848,  7, 569, 42,  800.0F, 192.0F, 0, 0, 10, 572},  // T2
  { 300,  200, 10,  200,   0,   0, 1122,   0, 7, 0, 6, 848,  7,   7, 42,  400.0F, 192.0F, 0, 0, 10,   0},  // T3
  { 300,  200, 10,  200,   0,   0, 1122,   0, 5, 0, 6, 848,  7,   7, 42,  480.0F, 192.0F, 0, 0, 10,   0},  // T4
  { 858,  525, 23,  240, 283, 240,    4, 266, 3, 3, 6, 350, 10, 273, 13, 1716.0F, 244.0F, 1, 0, 13, 276},  // T5
  { 864,  625, 23,  288, 336, 288,    1, 313, 2, 3, 5, 350,  6, 319, 11, 1728.0F, 264.0F, 0, 0,  9, 322},  // T6
  {4125,  750, 26,  720,   0,   0,  746,   0, 0, 0, 6, 618,  7,   7, 17, 1501.5F, 260.0F, 1, 1, 10,   0},  // T7
  {4125,  750, 26,  720,   0,   0,  746,   0, 1, 0, 6, 618,  7,   7, 17, 1500.0F, 260.0F, 0, 1, 10,   0},  // T8
  {3960,  750, 26,  720,   0,   0,  746,   0, 2, 0, 6, 618,  7,   7, 13, 1440.0F, 260.0F, 0, 0, 10,   0},  // T9
  {3300,  750, 26,  720,   0,   0,  746,   0, 3, 0, 6, 618,  7,   7, 14, 1201.2F, 260.0F, 1, 0, 10,   0},  // T10
  {3300,  750, 26,  720,   0,   0,  746,   0, 4, 0, 6, 618,  7,   7, 14, 1200.0F, 260.0F, 0, 0, 10,   0},  // T11
  {1980,  750, 26,  720,   0,   0,  746,   0, 5, 0, 6, 618,  7,   7, 25,  720.0F, 260.0F, 0, 0, 10,   0},  // T12
  {1650,  750, 26,  720,   0,   0,  746,   0, 6, 0, 6, 618,  7,   7, 28,  600.6F, 260.0F, 1, 0, 10,   0},  // T13
  {1650,  750, 26,  720,   0,   0,  746,   0, 7, 0, 6, 618,  7,   7, 28,  600.0F, 260.0F, 0, 0, 10,   0},  // T14
  {2640, 1125, 21,  540, 584, 540,    1, 564, 2, 3, 6, 848,  7, 569, 19,  960.0F, 192.0F, 0, 0, 10, 572},  // T15
  {2200, 1125, 21,  540, 584, 540,    1, 564, 3, 3, 6, 848,  7, 569, 21,  800.8F, 192.0F, 1, 0, 10, 572},  // T16
  {2200, 1125, 21,  540, 584, 540,    1, 564, 4, 3, 6, 848,  7, 569, 21,  800.0F, 192.0F, 0, 0, 10, 572},  // T17
  {2750, 1125, 42, 1080,   0,   0, 1122,   0, 0, 0, 6, 848,  7,   7, 25, 1001.0F, 192.0F, 1, 1, 10, 572},  // T18
  {2750, 1125, 42, 1080,   0,   0, 1122,   0, 1, 0, 6, 848,  7,   7, 25, 1000.0F, 192.0F, 0, 1, 10, 572},  // T19
  {2640, 1125, 42, 1080,   0,   0, 1122,   0, 2, 0, 6, 848,  7,   7, 19,  960.0F, 192.0F, 0, 0, 10, 572},  // T20
  {2200, 1125, 42, 1080,   0,   0, 1122,   0, 3, 0, 6, 848,  7,   7, 21,  800.8F, 192.0F, 1, 0, 10, 572},  // T21
  {2200, 1125, 42, 1080,   0,   0, 1122,   0, 4, 0, 6, 848,  7,   7, 21,  800.0F, 192.0F, 0, 0, 10, 572},  // T22
  {2750, 1125, 21,  540, 584, 540,    1, 564, 0, 3, 6, 848,  7, 569, 25, 1001.0F, 192.0F, 1, 1, 10, 572},  // T23
  {2750, 1125, 21,  540, 584, 540,    1, 564, 1, 3, 6, 848,  7, 569, 25, 1000.0F, 192.0F, 0, 1, 10, 572},  // T24
  {2640, 1125, 21,  540, 584, 540,    1, 564, 2, 3, 6, 848,  7, 569, 19,  960.0F, 192.0F, 0, 1, 10, 572},  // T25
  {2200, 1125, 21,  540, 584, 540,    1, 564, 3, 3, 6, 848,  7, 569, 21,  800.8F, 192.0F, 1, 1, 10, 572},  // T26
  {2200, 1125, 21,  540, 584, 540,    1, 564, 4, 3, 6, 848,  7, 569, 21,  800.0F, 192.0F, 0, 1, 10, 572},  // T27
  {2640, 1125, 42, 1080,   0,   0, 1122,   0, 5, 0, 6, 848,  7,   7, 37,  480.0F, 192.0F, 0, 0, 10,   0},  // T28
  {2200, 1125, 42, 1080,   0,   0, 1122,   0, 6, 0, 6, 848,  7,   7, 42,  400.4F, 192.0F, 1, 0, 10,   0},  // T29
  {2200, 1125, 42, 1080,   0,   0, 1122,   0, 7, 0, 6, 848,  7,   7, 42,  400.0F, 192.0F, 0, 0, 10,   0},  // T30
  {2750, 1125, 42, 1080,   0,   0, 1122,   0, 0, 0, 6, 848,  7,   7, 25, 1001.0F, 192.0F, 1, 1, 10,   0},  // T31
  {2750, 1125, 42, 1080,   0,   0, 1122,   0, 1, 0, 6, 848,  7,   7, 25, 1000.0F, 192.0F, 0, 1, 10,   0},  // T32
  {2640, 1125, 42, 1080,   0,   0, 1122,   0, 2, 0, 6, 848,  7,   7, 19,  960.0F, 192.0F, 0, 0, 10,   0},  // T33
  {2200, 1125, 42, 1080,   0,   0, 1122,   0, 3, 0, 6, 848,  7,   7, 21,  800.8F, 192.0F, 1, 0, 10,   0},  // T34
  {2200, 1125, 42, 1080,   0,   0, 1122,   0, 4, 0, 6, 848,  7,   7, 21,  800.0F, 192.0F, 0, 0, 10,   0},  // T35
}};
// clang-format on

/// The link numbers of the rows of one line.
enum LinkNumbers : std::uint8_t {
  kSame,    ///< all rows have the number that is given
  kCounts,  ///< each row has one more than the row before it
};

/// The payload IDs of the rows of one line.
enum PayloadLinks : std::uint8_t {
  kAsIs,  ///< all rows have the ID that is given
  kLink,  ///< link n adds n - 1 in bits 31 to 29: the link number in byte 4 of SMPTE ST 352
};

/// One line: the rows with the ids from first to last.
struct Line {
  int firstId, lastId;
  LiteralText name, shortName;
  std::uint8_t timing;  // 28 stands for class T28
  std::uint8_t sdiRate, scanType;
  std::uint16_t activeSamples;
  std::uint8_t dataStreams;
  std::uint8_t framesyncVideoType, sdiRxVideoType;
  std::uint8_t division, linkMode;
  std::uint8_t firstLinkNumber;
  LinkNumbers linkNumbers;
  std::uint32_t payloadId;
  PayloadLinks payloadLinks;
};

// clang-format off
inline constexpr std::array<Line, 89> kLines{{
  // id      name                         shortName  timing          dataStreams      link        payload
  // first                                            |  sdiRate     |  framesync code  number    ID
  //    last                                          |  |  scanType |   |  sdiRx code
  //                                                  |  |  |  active-   |   |  division
  //                                                  |  |  |  Samples   |   |  |  linkMode
  {  0,   0, "Unknown",                   "XXXX",     1, 0, 0,    1, 1,  0,  0, 0, 0, 1, kSame,   0x00000000, kAsIs},
  {  1,   1, "Fake Sim I",                "FAKE",     2, 1, 1,  240, 2, 12, 12, 0, 0, 1, kSame,   0x01000785, kAsIs},
  {  2,   2, "Fake Sim P",                "FAKE",     3, 2, 0,  240, 2, 20, 20, 0, 0, 1, kSame,   0x0100CB89, kAsIs},
  {  3,   3, "Fake Sim 2SI",              "FAKE",     3, 5, 0,  240, 8, 20, 20, 1, 0, 1, kSame,   0x0180CBCE, kAsIs},
  {  4,   4, "Fake Sim SDM",              "FAKE",     4, 2, 0,  240, 2, 18, 18, 2, 2, 1, kSame,   0x0180C989, kAsIs},
  {  5,   5, "525i 59.94",                "5i59",     5, 0, 1,  720, 1,  0,  0, 0, 0, 1, kSame,   0x01000681, kAsIs},
  {  6,   6, "625i 50",                   "6i50",     6, 0, 1,  720, 1,  1,  1, 0, 0, 1, kSame,   0x01000581, kAsIs},
  {  7,   7, "1280x720p 23.98",           "7p23",     7, 1, 0, 1280, 2,  2,  2, 0, 0, 1, kSame,   0x01004284, kAsIs},
  {  8,   8, "1280x720p 24",              "7p24",     8, 1, 0, 1280, 2,  3,  3, 0, 0, 1, kSame,   0x01004484, kAsIs},
  {  9,   9, "1280x720p 25",              "7p25",     9, 1, 0, 1280, 2,  4,  4, 0, 0, 1, kSame,   0x01004584, kAsIs},
  { 10,  10, "1280x720p 29.97",           "7p29",    10, 1, 0, 1280, 2,  5,  5, 0, 0, 1, kSame,   0x01004684, kAsIs},
  { 11,  11, "1280x720p 30",              "7p30",    11, 1, 0, 1280, 2,  6,  6, 0, 0, 1, kSame,   0x01004784, kAsIs},
  { 12,  12, "1280x720p 50",              "7p50",    12, 1, 0, 1280, 2,  7,  7, 0, 0, 1, kSame,   0x01004984, kAsIs},
  { 13,  13, "1280x720p 59.94",           "7p59",    13, 1, 0, 1280, 2,  8,  8, 0, 0, 1, kSame,   0x01004A84, kAsIs},
  { 14,  14, "1280x720p 60",              "7p60",    14, 1, 0, 1280, 2,  9,  9, 0, 0, 1, kSame,   0x01004B84, kAsIs},
  { 15,  15, "1920x1080i 50",             "1i50",    15, 1, 1, 1920, 2, 10, 10, 0, 0, 1, kSame,   0x01000585, kAsIs},
  { 16,  16, "1920x1080i 59.94",          "1i59",    16, 1, 1, 1920, 2, 11, 11, 0, 0, 1, kSame,   0x01000685, kAsIs},
  { 17,  17, "1920x1080i 60",             "1i60",    17, 1, 1, 1920, 2, 12, 12, 0, 0, 1, kSame,   0x01000785, kAsIs},
  { 18,  18, "1920x1080p 23.98",          "1p23",    18, 1, 0, 1920, 2, 13, 13, 0, 0, 1, kSame,   0x0120C285, kAsIs},
  { 19,  19, "1920x1080p 24",             "1p24",    19, 1, 0, 1920, 2, 14, 14, 0, 0, 1, kSame,   0x0120C385, kAsIs},
  { 20,  20, "1920x1080p 25",             "1p25",    20, 1, 0, 1920, 2, 15, 15, 0, 0, 1, kSame,   0x0120C585, kAsIs},
  { 21,  21, "2048x1080p 23.98",          "2k1p23",  18, 1, 0, 2048, 2, 29, 29, 0, 0, 1, kSame,   0x0140C285, kAsIs},
  { 22,  22, "2048x1080p 24",             "2k1p24",  19, 1, 0, 2048, 2, 30, 30, 0, 0, 1, kSame,   0x0140C385, kAsIs},
  { 23,  23, "2048x1080p 25",             "2k1p25",  20, 1, 0, 2048, 2, 31, 31, 0, 0, 1, kSame,   0x0140C585, kAsIs},
  { 24,  24, "1920x1080p 29.97",          "1p29",    21, 1, 0, 1920, 2, 16, 16, 0, 0, 1, kSame,   0x0120C685, kAsIs},
  { 25,  25, "1920x1080p 30",             "1p30",    22, 1, 0, 1920, 2, 17, 17, 0, 0, 1, kSame,   0x0120C785, kAsIs},
  { 34,  34, "1920x1080psf 23.98",        "1s23",    23, 1, 2, 1920, 2, 21, 21, 0, 0, 1, kSame,   0x01004285, kAsIs},
  { 35,  35, "1920x1080psf 24",           "1s24",    24, 1, 2, 1920, 2, 22, 22, 0, 0, 1, kSame,   0x01004385, kAsIs},
  { 36,  36, "1920x1080psf 25",           "1s25",    25, 1, 2, 1920, 2, 23, 23, 0, 0, 1, kSame,   0x01004585, kAsIs},
  { 37,  37, "1920x1080psf 29.97",        "1s29",    26, 1, 2, 1920, 2, 24, 24, 0, 0, 1, kSame,   0x01004685, kAsIs},
  { 38,  38, "1920x1080psf 30",           "1s30",    27, 1, 2, 1920, 2, 25, 25, 0, 0, 1, kSame,   0x01004785, kAsIs},
  { 39,  39, "1920x1080p 50 A",           "1p50A",   28, 2, 0, 1920, 2, 18, 18, 0, 0, 1, kSame,   0x0100C989, kAsIs},
  { 40,  40, "1920x1080p 59.94 A",        "1p59A",   29, 2, 0, 1920, 2, 19, 19, 0, 0, 1, kSame,   0x0100CA89, kAsIs},
  { 41,  41, "1920x1080p 60 A",           "1p60A",   30, 2, 0, 1920, 2, 20, 20, 0, 0, 1, kSame,   0x0100CB89, kAsIs},
  { 42,  42, "2048x1080p 50 A",           "2k1p50A", 28, 2, 0, 2048, 2, 26, 26, 0, 0, 1, kSame,   0x0140C989, kAsIs},
  { 43,  43, "2048x1080p 59.94 A",        "2k1p59A", 29, 2, 0, 2048, 2, 27, 27, 0, 0, 1, kSame,   0x0140CA89, kAsIs},
  { 44,  44, "2048x1080p 60 A",           "2k1p60A", 30, 2, 0, 2048, 2, 28, 28, 0, 0, 1, kSame,   0x0140CB89, kAsIs},
  { 45,  45, "1920x1080p 50 B",           "1p50B",   28, 3, 0, 1920, 2, 18, 18, 0, 0, 1, kSame,   0x0120498A, kAsIs},
  { 46,  46, "1920x1080p 59.94 B",        "1p59B",   29, 3, 0, 1920, 2, 19, 19, 0, 0, 1, kSame,   0x01204A8A, kAsIs},
  { 47,  47, "1920x1080p 60 B",           "1p60B",   30, 3, 0, 1920, 2, 20, 20, 0, 0, 1, kSame,   0x01204B8A, kAsIs},
  { 48,  48, "2048x1080p 50 B",           "2k1p50B", 28, 3, 0, 2048, 2, 26, 26, 0, 0, 1, kSame,   0x0140498A, kAsIs},
  { 49,  49, "2048x1080p 59.94 B",        "2k1p59B", 29, 3, 0, 2048, 2, 27, 27, 0, 0, 1, kSame,   0x01404A8A, kAsIs},
  { 50,  50, "2048x1080p 60 B",           "2k1p60B", 30, 3, 0, 2048, 2, 28, 28, 0, 0, 1, kSame,   0x01404B8A, kAsIs},
  { 51,  51, "1920x1080p 50 B",           "1p50B",   28, 2, 0, 1920, 2, 18, 18, 0, 0, 1, kSame,   0x0100C989, kAsIs},
  { 52,  52, "1920x1080p 59.94 B",        "1p59B",   29, 2, 0, 1920, 2, 19, 19, 0, 0, 1, kSame,   0x0100CA89, kAsIs},
  { 53,  53, "1920x1080p 60 B",           "1p60B",   30, 2, 0, 1920, 2, 20, 20, 0, 0, 1, kSame,   0x0100CB89, kAsIs},
  { 54,  54, "2048x1080p 50 B",           "2k1p50B", 28, 2, 0, 2048, 2, 26, 26, 0, 0, 1, kSame,   0x0140C989, kAsIs},
  { 55,  55, "2048x1080p 59.94 B",        "2k1p59B", 29, 2, 0, 2048, 2, 27, 27, 0, 0, 1, kSame,   0x0140CA89, kAsIs},
  { 56,  56, "2048x1080p 60 B",           "2k1p60B", 30, 2, 0, 2048, 2, 28, 28, 0, 0, 1, kSame,   0x0140CB89, kAsIs},
  { 57,  57, "3840x2160p 23.98 6G",       "2p23",    31, 4, 0, 1920, 8, 13, 13, 1, 0, 1, kSame,   0x01A0C2C0, kAsIs},
  { 58,  58, "3840x2160p 24 6G",          "2p24",    32, 4, 0, 1920, 8, 14, 14, 1, 0, 1, kSame,   0x01A0C3C0, kAsIs},
  { 59,  59, "3840x2160p 25 6G",          "2p25",    33, 4, 0, 1920, 8, 15, 15, 1, 0, 1, kSame,   0x01A0C5C0, kAsIs},
  { 60,  60, "3840x2160p 29.97 6G",       "2p29",    34, 4, 0, 1920, 8, 16, 16, 1, 0, 1, kSame,   0x01A0C6C0, kAsIs},
  { 61,  61, "3840x2160p 30 6G",          "2p30",    35, 4, 0, 1920, 8, 17, 17, 1, 0, 1, kSame,   0x01A0C7C0, kAsIs},
  { 62,  65, "3840x2160p 50 QL A 2SI",    "2p50A",   28, 2, 0, 1920, 2, 18, 18, 1, 2, 1, kCounts, 0x0180C997, kLink},
  { 66,  69, "3840x2160p 59.94 QL A 2SI", "2p59A",   29, 2, 0, 1920, 2, 19, 19, 1, 2, 1, kCounts, 0x0180CA97, kLink},
  { 70,  73, "3840x2160p 60 QL A 2SI",    "2p60A",   30, 2, 0, 1920, 2, 20, 20, 1, 2, 1, kCounts, 0x0180CB97, kLink},
  { 74,  77, "3840x2160p 50 QL B 2SI",    "2p50B",   28, 2, 0, 1920, 2, 18, 18, 1, 2, 1, kCounts, 0x0180C997, kLink},
  { 78,  81, "3840x2160p 59.94 QL B 2SI", "2p59B",   29, 2, 0, 1920, 2, 19, 19, 1, 2, 1, kCounts, 0x0180CA97, kLink},
  { 82,  85, "3840x2160p 60 QL B 2SI",    "2p60B",   30, 2, 0, 1920, 2, 20, 20, 1, 2, 1, kCounts, 0x0180CB97, kLink},
  { 86,  89, "3840x2160psf 23.98 QL SDM", "2s23",    23, 1, 2, 1920, 2, 21, 21, 2, 2, 1, kSame,   0x01004285, kAsIs},
  { 90,  93, "3840x2160psf 24 QL SDM",    "2s24",    24, 1, 2, 1920, 2, 22, 22, 2, 2, 1, kSame,   0x01004385, kAsIs},
  { 94,  97, "3840x2160psf 25 QL SDM",    "2s25",    25, 1, 2, 1920, 2, 23, 23, 2, 2, 1, kSame,   0x01004585, kAsIs},
  { 98, 101, "3840x2160psf 29.97 QL SDM", "2s29",    26, 1, 2, 1920, 2, 24, 24, 2, 2, 1, kSame,   0x01004685, kAsIs},
  {102, 105, "3840x2160psf 30 QL SDM",    "2s30",    27, 1, 2, 1920, 2, 25, 25, 2, 2, 1, kSame,   0x01004785, kAsIs},
  {106, 109, "3840x2160p 23.98 QL SDM",   "2p23",    31, 1, 0, 1920, 2, 13, 13, 2, 2, 1, kCounts, 0x0120C285, kAsIs},
  {110, 113, "3840x2160p 24 QL SDM",      "2p24",    32, 1, 0, 1920, 2, 14, 14, 2, 2, 1, kCounts, 0x0120C385, kAsIs},
  {114, 117, "3840x2160p 25 QL SDM",      "2p25",    33, 1, 0, 1920, 2, 15, 15, 2, 2, 1, kCounts, 0x0120C585, kAsIs},
  {118, 121, "3840x2160p 29.97 QL SDM",   "2p29",    34, 1, 0, 1920, 2, 16, 16, 2, 2, 1, kCounts, 0x0120C685, kAsIs},
  {122, 125, "3840x2160p 30 QL SDM",      "2p30",    35, 1, 0, 1920, 2, 17, 17, 2, 2, 1, kCounts, 0x0120C785, kAsIs},
  {126, 129, "3840x2160p 50 QL A SDM",    "2p50",    28, 2, 0, 1920, 2, 18, 18, 2, 2, 1, kCounts, 0x0180C989, kAsIs},
  {130, 133, "3840x2160p 59.94 QL A SDM", "2p59",    29, 2, 0, 1920, 2, 19, 19, 2, 2, 1, kCounts, 0x0180CA89, kAsIs},
  {134, 137, "3840x2160p 60 QL A SDM",    "2p60",    30, 2, 0, 1920, 2, 20, 20, 2, 2, 1, kCounts, 0x0180CB89, kAsIs},
  {138, 138, "3840x2160p 50 12G",         "2p50",    28, 5, 0, 1920, 8, 18, 18, 1, 0, 1, kSame,   0x0180C9CE, kAsIs},
  {139, 139, "3840x2160p 59.94 12G",      "2p59",    29, 5, 0, 1920, 8, 19, 19, 1, 0, 1, kSame,   0x0180CACE, kAsIs},
  {140, 140, "3840x2160p 60 12G",         "2p60",    30, 5, 0, 1920, 8, 20, 20, 1, 0, 1, kSame,   0x0180CBCE, kAsIs},
  {141, 144, "4096x2160p 50 QL A 2SI",    "4k2p50A", 28, 2, 0, 2048, 2, 26, 26, 1, 2, 1, kCounts, 0x0140C997, kLink},
  {145, 148, "4096x2160p 59.94 QL A 2SI", "4k2p59A", 29, 2, 0, 2048, 2, 27, 27, 1, 2, 1, kCounts, 0x0140CA97, kLink},
  {149, 152, "4096x2160p 60 QL A 2SI",    "4k2p60A", 30, 2, 0, 2048, 2, 28, 28, 1, 2, 1, kCounts, 0x0140CB97, kLink},
  {153, 155, "4096x2160p 50 QL B 2SI",    "4k2p50B", 28, 2, 0, 2048, 2, 26, 26, 1, 2, 1, kCounts, 0x0140C997, kLink},
  {156, 156, "4096x2160p 50 QL b 2SI",    "4k2p50B", 28, 2, 0, 2048, 2, 26, 26, 1, 2, 4, kSame,   0x6140C997, kAsIs},
  {157, 160, "4096x2160p 59.94 QL B 2SI", "4k2p59B", 29, 2, 0, 2048, 2, 27, 27, 1, 2, 1, kCounts, 0x0140CA97, kLink},
  {161, 164, "4096x2160p 60 QL B 2SI",    "4k2p60B", 30, 2, 0, 2048, 2, 28, 28, 1, 2, 1, kCounts, 0x0140CB97, kLink},
  {165, 168, "4096x2160p 50 QL A SDM",    "4k2p50",  28, 2, 0, 2048, 2, 26, 27, 2, 2, 1, kCounts, 0x0140C989, kAsIs},
  {169, 172, "4096x2160p 59.94 QL A SDM", "4k2p59",  29, 2, 0, 2048, 2, 27, 26, 2, 2, 1, kCounts, 0x0140CA89, kAsIs},
  {173, 176, "4096x2160p 60 QL A SDM",    "4k2p60",  30, 2, 0, 2048, 2, 28, 28, 2, 2, 1, kCounts, 0x0140CB89, kAsIs},
  {177, 177, "4096x2160p 50 12G",         "4k2p50",  28, 5, 0, 2048, 8, 26, 16, 1, 0, 1, kSame,   0x0140C9CE, kAsIs},
  {178, 178, "4096x2160p 59.94 12G",      "4k2p59",  29, 5, 0, 2048, 8, 27, 17, 1, 0, 1, kSame,   0x0140CACE, kAsIs},
  {179, 179, "4096x2160p 60 12G",         "4k2p60",  30, 5, 0, 2048, 8, 28, 28, 1, 0, 1, kSame,   0x0140CBCE, kAsIs},
}};
// clang-format on

constexpr std::size_t RowsOf(const Line& line) {
  return static_cast<std::size_t>(line.lastId - line.firstId + 1);
}

constexpr std::size_t CountRows() {
  std::size_t rows = 0;
  for (const Line& line : kLines) {
    rows += RowsOf(line);
  }
  return rows;
}

/// True if the ids start with 0 and ascend, and every code lies in its range.
constexpr bool LinesWellFormed() {
  int lastId = -1;
  for (const Line& line : kLines) {
    if (line.firstId <= lastId || line.lastId < line.firstId || line.timing < 1 ||
        line.timing > kTimingClasses.size() || line.sdiRate > 5 || line.scanType > 2 ||
        line.framesyncVideoType > 31 || line.sdiRxVideoType > 31 || line.division > 2 ||
        line.linkMode > 2 || line.firstLinkNumber < 1 || line.name.empty()) {
      return false;
    }
    lastId = line.lastId;
  }
  return kLines.front().firstId == 0;
}

/// True if every class has a frame rate of the enumeration and serves at least one line.
constexpr bool TimingClassesWellFormed() {
  for (std::size_t i = 0; i < kTimingClasses.size(); ++i) {
    bool used = false;
    for (const Line& line : kLines) {
      used = used || line.timing == i + 1;
    }
    if (!used || kTimingClasses[i].frameRate > 7) {
      return false;
    }
  }
  return true;
}

static_assert(LinesWellFormed());
static_assert(TimingClassesWellFormed());
static_assert(CountRows() == 172);

}  // namespace video_standard_table

/// A standard and its id.
struct VideoStandardRow {
  int id;
  VideoStandard standard;
};

namespace video_standard_table {

constexpr VideoStandardRow MakeRow(const Line& line, std::uint8_t rowOfLine) {
  const TimingClass& timing = kTimingClasses[line.timing - 1U];
  const auto linkNumber = static_cast<std::uint8_t>(line.firstLinkNumber +
                                                    (line.linkNumbers == kCounts ? rowOfLine : 0));
  const std::uint32_t linkBits = line.payloadLinks == kLink ? (linkNumber - 1U) << 29 : 0;
  return {line.firstId + rowOfLine,
          VideoStandard(
              line.name, line.shortName, SdiRate{line.sdiRate}, ScanType{line.scanType},
              timing.fractional, timing.segmentedOrFilm, line.activeSamples, timing.totalSamples,
              timing.totalLines, timing.field1FirstLine, timing.field1Lines, timing.field2FirstLine,
              timing.field2Lines, timing.fieldMarkLine1, timing.fieldMarkLine2,
              FrameRate{timing.frameRate}, timing.fieldCode, timing.refLine, timing.refSample,
              timing.switchLine1, timing.switchLine2, timing.auxLines, line.dataStreams,
              line.framesyncVideoType, line.sdiRxVideoType, PictureDivision{line.division},
              LinkMode{line.linkMode}, linkNumber, line.payloadId + linkBits, timing.payloadLine1,
              timing.payloadLine2, timing.linePeriod, timing.activeOffset)};
}

constexpr VideoStandardRow ExpandRow(std::size_t row) {
  std::size_t line = 0;
  while (row >= RowsOf(kLines[line])) {
    row -= RowsOf(kLines[line]);
    ++line;
  }
  return MakeRow(kLines[line], static_cast<std::uint8_t>(row));
}

template <std::size_t... Row>
constexpr std::array<VideoStandardRow, sizeof...(Row)> ExpandRows(std::index_sequence<Row...>) {
  return {{ExpandRow(Row)...}};
}

}  // namespace video_standard_table

/// All rows in ascending order of their ids. The first one has id 0 and is "Unknown".
// Not constexpr: GCC 12 can't prove that its destructor is constant under the sanitizers.
inline constinit const auto kVideoStandards =
    video_standard_table::ExpandRows(std::make_index_sequence<video_standard_table::CountRows()>());

namespace video_standard_table {

/// Position of each id in kVideoStandards; 0 where an id has no row.
inline constexpr auto kRowOfId = [] {
  std::array<std::uint8_t, kLines.back().lastId + 1> rows{};
  std::uint8_t row = 0;
  for (const Line& line : kLines) {
    for (int id = line.firstId; id <= line.lastId; ++id) {
      rows[static_cast<std::size_t>(id)] = row++;
    }
  }
  return rows;
}();

}  // namespace video_standard_table

/// The row with this id; "Unknown" for an id that has no row, whatever its value.
inline const VideoStandard& FindVideoStandard(int id) {
  const auto& rows = video_standard_table::kRowOfId;
  const bool inRange = id >= 0 && static_cast<std::size_t>(id) < rows.size();
  return kVideoStandards[inRange ? rows[static_cast<std::size_t>(id)] : 0U].standard;
}
