// Converters: one per pair of charsets, opened once and kept per thread.
//
// UTF-8 is validated and copied, single-byte charsets go through a table of 256 entries, everything else through iconv.
// All of them stop at the same bytes and for the same reasons as an iconv that reads its input strictly would.
#pragma once

#include <codec/output.h>

#include <memory>
#include <string_view>

namespace kel {

// Why a conversion stopped.
enum class stop_t { at_end, illegal, incomplete, other };

class converter_t {
public:
  virtual ~converter_t() = default;

  // Begins a new text.
  virtual void restart() {}

  // Converts from `cursor` on and leaves it where the conversion stopped. After an illegal sequence the next call may
  // begin one byte further; shift states survive.
  virtual stop_t run(char const*& cursor, char const* last, output_t& out) = 0;

  // Writes a character that waits for a combining mark, so that what is written next by others comes after it. Shift
  // states survive.
  virtual void release(output_t&) {}

  // Ends a text: writes the last character, which a converter that composes characters may hold back.
  virtual void finish(output_t&) {}

  // Whether a text that is valid UTF-8 is certain to convert without a stop.
  virtual bool is_certain_to_convert(std::string_view) const { return false; }
};

// The converter for two charsets, or null when one of them is unknown. It belongs to this thread's cache and lives until
// the next call in this thread. The names may come from a message; the empty one means the locale's charset.
converter_t* find_converter(std::string_view from_charset, std::string_view to_charset);

}  // namespace kel
