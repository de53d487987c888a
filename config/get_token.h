// The configuration tokenizer, the only code that reads the configuration stream.
#pragma once

#include <cstddef>
#include <cstdint>

#include "daemon/base/glob_struct.h"

namespace ravelo {

constexpr size_t token_size = 256;  // a token with its terminator

// Reads the next token into token, NUL-terminated, exactly as written, and keeps cfg_line.
// Results:
//    0  a token is in token, possibly the empty text of a quoted string
//    1  end of file before a token; not an error here
//   -2  the stream could not be read; reported
//   -7  a lexical error; reported. token is then undefined.
[[nodiscard]] int32_t get_token(glob_struct *glob, char (&token)[token_size]);

}  // namespace ravelo
