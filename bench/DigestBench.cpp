// The MD5 digest. The standard library has none: the second peer is OpenSSL, or what else is there.

#include "bench/harness.h"
#include "support/_dvMd5.h"

#if defined(DORVANE_BENCH_HAVE_OPENSSL)
#include <openssl/evp.h>
#endif
#if defined(DORVANE_BENCH_HAVE_QT)
#include <QCryptographicHash>
#endif

namespace bench {
namespace {

constexpr std::size_t kDigestSize = 16;

[[maybe_unused]] unsigned char* dataOf(std::string& bytes) {
  return reinterpret_cast<unsigned char*>(bytes.data());
}

[[maybe_unused]] const unsigned char* dataOf(const std::string& bytes) {
  return reinterpret_cast<const unsigned char*>(bytes.data());
}

#if defined(DORVANE_BENCH_HAVE_OPENSSL)
std::string digestByOpenssl(const std::string& text) {
  std::string out(kDigestSize, '\0');
  unsigned int size = 0;
  EVP_Digest(text.data(), text.size(), dataOf(out), &size, EVP_md5(), nullptr);
  return out;
}
#endif

#if defined(DORVANE_BENCH_HAVE_GLIB)
std::string digestByGlib(const std::string& text) {
  std::string out(kDigestSize, '\0');
  gsize size = out.size();
  GChecksum* const checksum = g_checksum_new(G_CHECKSUM_MD5);
  g_checksum_update(checksum, dataOf(text), static_cast<gssize>(text.size()));
  g_checksum_get_digest(checksum, dataOf(out), &size);
  g_checksum_free(checksum);
  return out;
}
#endif

void enrollAll() {
  Operation<std::string> digest("Digest", "digestBytes", kSizes, words);
  digest.peerOn<std::string>("ours", [](const std::string& text) {
    std::string out(kDigestSize, '\0');
    _dvMd5 md5;
    md5.digestBytes(dataOf(text), static_cast<unsigned int>(text.size()), dataOf(out));
    return out;
  });
#if defined(DORVANE_BENCH_HAVE_OPENSSL)
  digest.peerOn<std::string>("openssl", digestByOpenssl);
#endif
#if defined(DORVANE_BENCH_HAVE_QT)
  digest.peerOn<QByteArray>("qt", [](const QByteArray& text) {
    return QCryptographicHash::hash(text, QCryptographicHash::Md5);
  });
#endif
#if defined(DORVANE_BENCH_HAVE_GLIB)
  digest.peerOn<std::string>("glib", digestByGlib);
#endif
  digest.enroll();
}

[[maybe_unused]] const bool kEnrolled = (enrollAll(), true);

}  // namespace
}  // namespace bench
