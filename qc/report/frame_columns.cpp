// SPDX-License-Identifier: BSD-2-Clause
#include "qc/report/frame_columns.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <cassert>
#include <charconv>
#include <cmath>
#include <new>
#include <numeric>
#include <utility>

namespace lumagauge::qc {

namespace {

/// Frames that are compressed at once: as far back as deflate looks for repetitions.
constexpr std::size_t CHUNK = std::size_t{1} << 15;
constexpr int LEVEL = 7;
constexpr int RAW_DEFLATE = -15;
constexpr double MICROSECONDS = 1e6;
constexpr int TIME_PLANES = 6, DECIMAL_PLANES = 3;
constexpr int MOST_EXPONENT = 127;

/// Deflate without a header, each call independent of those before it and ending with a byte, so
/// that what they give can stand in one stream in any order.
class Compressor {
public:
  Compressor() {
    if (deflateInit2(&stream, LEVEL, Z_DEFLATED, RAW_DEFLATE, 9, Z_DEFAULT_STRATEGY) != Z_OK)
      throw std::bad_alloc();
  }
  ~Compressor() { deflateEnd(&stream); }
  Compressor(const Compressor &) = delete;
  Compressor &operator=(const Compressor &) = delete;

  void append(const std::string &bytes, std::string &packed) {
    deflateReset(&stream);
    // A flush takes a few bytes more than what deflateBound counts for the stream's end.
    buffer.resize(deflateBound(&stream, bytes.size()) + 16);
    stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(bytes.data()));
    stream.avail_in = static_cast<uInt>(bytes.size());
    stream.next_out = reinterpret_cast<Bytef *>(buffer.data());
    stream.avail_out = static_cast<uInt>(buffer.size());
    deflate(&stream, Z_FULL_FLUSH);
    assert(stream.avail_in == 0 && stream.avail_out > 0);
    packed.append(buffer, 0, buffer.size() - stream.avail_out);
  }

private:
  z_stream stream{};
  std::string buffer;
};

/// A byte a frame.
class Plane {
public:
  void add(std::uint8_t byte, Compressor &compressor) {
    pending += static_cast<char>(byte);
    if (pending.size() == CHUNK)
      pack(compressor);
  }
  void pack(Compressor &compressor) {
    if (pending.empty())
      return;
    check = crc32(check, reinterpret_cast<const Bytef *>(pending.data()),
                  static_cast<uInt>(pending.size()));
    compressor.append(pending, packed);
    pending.clear();
  }

  std::string packed;
  uLong check = crc32(0, nullptr, 0);

private:
  std::string pending;
};

void appendLittleEndian(std::string &text, std::uint32_t value) {
  for (int shift = 0; shift < 32; shift += 8)
    text += static_cast<char>(value >> shift & 0xff);
}

} // namespace

Decimal4 decimal4(std::optional<double> value) {
  if (!value)
    return {0, Decimal4::NO_VALUE};
  if (std::isnan(*value))
    return {0, Decimal4::NOT_A_NUMBER};
  if (std::isinf(*value))
    return {0, *value > 0 ? Decimal4::INFINITE : Decimal4::MINUS_INFINITE};
  // "d.ddde+xx", rounded as printf rounds.
  std::array<char, 16> text{};
  const auto end = std::to_chars(text.data(), text.data() + text.size(), std::abs(*value),
                                 std::chars_format::scientific, 3);
  int mantissa = 0, exponent = 0;
  for (const std::size_t digit : {0U, 2U, 3U, 4U})
    mantissa = 10 * mantissa + (text[digit] - '0');
  std::from_chars(text.data() + (text[6] == '+' ? 7 : 6), end.ptr, exponent);
  exponent -= 3;
  if (mantissa == 0 || exponent < Decimal4::LEAST_EXPONENT)
    return {};
  if (exponent > MOST_EXPONENT) {
    mantissa = 9999;
    exponent = MOST_EXPONENT;
  }
  return {static_cast<std::int16_t>(*value < 0 ? -mantissa : mantissa),
          static_cast<std::int8_t>(exponent)};
}

std::string_view encodingName(Encoding encoding) {
  constexpr std::array<std::string_view, 5> NAMES{"constant", "ascii", "step", "microseconds",
                                                  "decimal4"};
  return NAMES[static_cast<std::size_t>(encoding)];
}

struct FrameColumns::State {
  struct Packing {
    Column column;
    std::optional<Indicator> indicator;
    std::vector<Plane> planes;
    bool isConstant = false;  ///< so far
    int mantissa = 0;         ///< of the frame before
    std::int8_t exponent = 0; ///< likewise

    std::size_t size() const {
      return std::accumulate(
          planes.begin(), planes.end(), std::size_t{0},
          [](std::size_t sum, const Plane &plane) { return sum + plane.packed.size(); });
    }
  };

  void addColumn(std::string name, Encoding encoding, int planes,
                 std::optional<Indicator> indicator = {}) {
    Packing &packing = columns.emplace_back();
    packing.column.name = std::move(name);
    packing.column.encoding = encoding;
    packing.indicator = indicator;
    packing.planes.resize(static_cast<std::size_t>(planes));
  }
  void addTime(Packing &time, double seconds);
  void addType(Packing &type, char letter);
  void addValue(Packing &packing, Decimal4 value);

  Compressor compressor;
  std::vector<Packing> columns; ///< time, type, shot, the indicators
  std::int64_t first = 0, count = 0, shot = 0, microseconds = 0;
};

void FrameColumns::State::addTime(Packing &time, double seconds) {
  if (count == 0)
    time.column.start = seconds;
  // From the start, so that rounding does not add up.
  const std::int64_t now = std::llround((seconds - time.column.start) * MICROSECONDS);
  const auto step = static_cast<std::uint64_t>(now - std::exchange(microseconds, now));
  for (int i = 0; i < TIME_PLANES; ++i)
    time.planes[static_cast<std::size_t>(i)].add(static_cast<std::uint8_t>(step >> 8 * i),
                                                 compressor);
}

void FrameColumns::State::addType(Packing &type, char letter) {
  if (count == 0)
    type.column.letter = letter;
  type.isConstant = (count == 0 || type.isConstant) && letter == type.column.letter;
  type.planes[0].add(static_cast<std::uint8_t>(letter), compressor);
}

void FrameColumns::State::addValue(Packing &packing, Decimal4 value) {
  if (count == 0)
    packing.column.value = value;
  packing.isConstant = (count == 0 || packing.isConstant) && value == packing.column.value;
  const bool isZero = value.isNumber() && value.mantissa == 0;
  if (isZero && packing.exponent >= Decimal4::LEAST_EXPONENT)
    value.exponent = packing.exponent;
  const auto exponentStep = static_cast<std::uint8_t>(value.exponent - packing.exponent);
  packing.exponent = value.exponent;
  const int step = value.isNumber() ? value.mantissa - packing.mantissa : 0;
  packing.mantissa += step;
  const int zigzag = step >= 0 ? 2 * step : -2 * step - 1;
  packing.planes[0].add(exponentStep, compressor);
  packing.planes[1].add(static_cast<std::uint8_t>(zigzag & 0xff), compressor);
  packing.planes[2].add(static_cast<std::uint8_t>(zigzag >> 8), compressor);
}

FrameColumns::FrameColumns(std::uint32_t indicators) : state(std::make_unique<State>()) {
  state->addColumn("time", Encoding::microseconds, TIME_PLANES);
  state->addColumn("type", Encoding::ascii, 1);
  state->addColumn("shot", Encoding::step, 1);
  for (const IndicatorInfo &info : INDICATORS)
    if ((indicators & bit(info.indicator)) != 0)
      state->addColumn(std::string(info.name), Encoding::decimal4, DECIMAL_PLANES, info.indicator);
}

FrameColumns::~FrameColumns() = default;

void FrameColumns::add(const FrameRecord &record) {
  State &s = *state;
  if (s.count == 0)
    s.first = record.frame;
  assert(record.frame == s.first + s.count);
  s.addTime(s.columns[0], record.time);
  s.addType(s.columns[1], record.pictureType);
  const std::int64_t shotBefore = std::exchange(s.shot, record.shot);
  s.columns[2].planes[0].add(static_cast<std::uint8_t>(s.count == 0 ? 0 : record.shot - shotBefore),
                             s.compressor);
  for (auto packing = s.columns.begin() + 3; packing != s.columns.end(); ++packing)
    s.addValue(*packing, decimal4(record[*packing->indicator]));
  ++s.count;
}

PackedFrames FrameColumns::finish(std::size_t mostBytes, std::uint32_t dispensable) {
  State &s = *state;
  PackedFrames packed{.first = s.first, .count = s.count, .columns = {}, .omitted = {}, .gzip = {}};
  std::size_t total = 0;
  for (State::Packing &packing : s.columns) {
    for (Plane &plane : packing.planes)
      plane.pack(s.compressor);
    if (packing.isConstant) {
      packing.column.encoding = Encoding::constant;
      packing.planes.clear();
    }
    total += packing.size();
  }
  while (total > mostBytes) {
    const auto canGo = [&](const State::Packing &p) {
      return p.indicator && (dispensable & bit(*p.indicator)) != 0 && p.size() > 0;
    };
    const auto largest = std::max_element(
        s.columns.begin(), s.columns.end(), [&](const State::Packing &a, const State::Packing &b) {
          return (canGo(a) ? a.size() : 0) < (canGo(b) ? b.size() : 0);
        });
    if (!canGo(*largest))
      break;
    total -= largest->size();
    packed.omitted.push_back(largest->column.name);
    s.columns.erase(largest);
  }
  packed.gzip = std::string("\x1f\x8b\x08\0\0\0\0\0\0\xff", 10);
  uLong check = crc32(0, nullptr, 0);
  std::uint64_t bytes = 0;
  for (State::Packing &packing : s.columns) {
    for (const Plane &plane : packing.planes) {
      packed.gzip += plane.packed;
      check = crc32_combine(check, plane.check, s.count);
      bytes += static_cast<std::uint64_t>(s.count);
    }
    packed.columns.push_back(std::move(packing.column));
  }
  packed.gzip += std::string("\x03\0", 2); // an empty last block
  appendLittleEndian(packed.gzip, static_cast<std::uint32_t>(check));
  appendLittleEndian(packed.gzip, static_cast<std::uint32_t>(bytes)); // modulo 2^32, as gzip has it
  return packed;
}

} // namespace lumagauge::qc
