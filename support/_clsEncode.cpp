// The names of the encodings and what they stand for. Tested in tests/support/ClsEncodeTest.cpp.

#include "support/_clsEncode.h"

#include <string_view>

#include "core/StringBuffer.h"
#include "support/DataBuffer.h"
#include "support/LogBase.h"
#include "support/LogContextExitor.h"
#include "support/dvFormat.h"
#include "support/dvString.h"
#include "support/internal/BinaryDecoders.h"
#include "support/internal/ContentOf.h"

namespace internal = dorvane::internal;
using internal::Misfits;

namespace {

using Decode = bool (*)(std::string_view text, DataBuffer& out, Misfits& misfits);

struct Encoding {
  const char* names[3];  // the ones it has; the first is used in the log
  Decode decode;
};

// The identifier of an encoding is its position, counted from 1.
constexpr Encoding kEncodings[] = {
    {{"base64"}, internal::decodeBase64},
    {{"base64url", "base64-url", "modBase64"}, internal::decodeBase64Url},
    {{"base32"}, internal::decodeBase32},
    {{"hex", "hexadecimal", "base16"}, internal::decodeHexadecimal},
    {{"quoted-printable", "quoted_printable", "qp"}, internal::decodeQuotedPrintable},
    {{"url", "url-encoding", "percent"}, internal::decodePercent},
};
constexpr int kNumEncodings = sizeof(kEncodings) / sizeof(kEncodings[0]);

bool isNameOf(const Encoding& encoding, const char* name) noexcept {
  for (const char* const known : encoding.names)
    if (known != nullptr && dvStrICmp(known, name) == 0) return true;
  return false;
}

void logNumber(LogBase& log, const char* name, std::size_t value) {
  char digits[21];
  dv_int64_to_str(static_cast<long long>(value), digits);
  log.LogData(name, digits);
}

bool fail(LogBase& log, const char* error, const Encoding& encoding) {
  log.LogError(error);
  log.LogData("encoding", encoding.names[0]);
  return false;
}

}  // namespace

int _clsEncode::parseEncodingName(const char* name) noexcept {
  if (name == nullptr) return 0;
  for (int i = 0; i < kNumEncodings; ++i)
    if (isNameOf(kEncodings[i], name)) return i + 1;
  return 0;
}

bool _clsEncode::decodeBinary(int encoding, const StringBuffer& text, DataBuffer& out, bool append,
                              LogBase& log) {
  const LogContextExitor context(log, "decodeBinary");
  if (!append) out.clear();
  if (encoding < 1 || encoding > kNumEncodings) {
    log.LogError("Unknown binary encoding");
    log.LogDataLong("encoding", encoding);
    return false;
  }
  const Encoding& known = kEncodings[encoding - 1];
  Misfits misfits;
  if (!known.decode(dorvane::internal::contentOf(text), out, misfits))
    return fail(log, "Out of memory", known);
  if (misfits.count == 0) return true;
  fail(log, "The text is malformed", known);
  logNumber(log, "misfits", misfits.count);
  logNumber(log, "firstOffset", misfits.firstOffset);
  return false;
}
