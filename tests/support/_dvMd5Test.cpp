#include "support/_dvMd5.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

std::string hexOf(const unsigned char* digest) {
  std::string text;
  for (int i = 0; i < 16; ++i) {
    char digits[3];
    std::snprintf(digits, sizeof(digits), "%02x", digest[i]);
    text += digits;
  }
  return text;
}

std::string md5Of(const void* data, std::size_t n) {
  unsigned char digest[18];
  std::memset(digest, 0xEE, sizeof(digest));
  _dvMd5().digestBytes(static_cast<const unsigned char*>(data), static_cast<unsigned int>(n),
                       digest + 1);
  EXPECT_EQ(digest[0], 0xEE);
  EXPECT_EQ(digest[17], 0xEE);
  return hexOf(digest + 1);
}

TEST(DvMd5, GivesTheDigestsOfRfc1321) {
  const struct {
    std::string message;
    const char* digest;
  } cases[] = {
      {"", "d41d8cd98f00b204e9800998ecf8427e"},
      {"a", "0cc175b9c0f1b6a831c399e269772661"},
      {"abc", "900150983cd24fb0d6963f7d28e17f72"},
      {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
      {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
      {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789",
       "d174ab98d277d9f5a5611c2c9f419d9f"},
      {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
       "57edf4a22be3c955ac49da2e2107b67a"},
  };
  for (const auto& c : cases) EXPECT_EQ(md5Of(c.message.data(), c.message.size()), c.digest);
}

// Byte i of every message below is 31 * i + 7 modulo 256.
std::vector<unsigned char> message(std::size_t size) {
  std::vector<unsigned char> bytes(size);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<unsigned char>(31 * i + 7);
  return bytes;
}

// The digests of the messages of 0, 1, 2, ... bytes, from another implementation.
constexpr const char* kDigests[] = {
    "d41d8cd98f00b204e9800998ecf8427e", "89e74e640b8c46257a29de0616794d5d",
    "e2cbbc39f325521a3fb6c4b370a40fe1", "3b704fb2660febf62921a0caaa8de56b",
    "60781e9e546435a1d0b9316e7954ead6", "f2d9a07d74a62611bf61dc4b8825f3bc",
    "33cba3f16cfdebd3e4b8d2ea44840f32", "1cb06d547fb76566d01b16e7ac5aa8b4",
    "4ea83c044004367c9839a3e27d852a14", "548fed44439268980b3d530f84442c9a",
    "f07c9050cdd8ccd95e03fb23dabfaaeb", "b784692b3445c887363d1a3d6eef0270",
    "610924a57bb821aa3507a8a3348f607c", "a80dbb6b379eb4733f088710388ad72b",
    "1487002351f63a05f903f6e8f79622d7", "36852d9be5cdabd0d270f73fdb488e0a",
    "54bd6d424250e89b7b13699f81f61520", "bf3f5be5a5de5f998aa62928bddb0ae0",
    "412ad3452540f2a002fadbe0d0d86c3b", "7d2a9abccc03d2b483b248a0b8ff57e4",
    "5f2bab926a5e5771ed9b4c5d73903e0f", "f59150f69f22840ff9aee6b2b533532e",
    "e3508a5abf7aee79c6e5f6cd172bc487", "922ff3ff23a51b4f6bde6e7a185f396d",
    "ca30f1377cb439abd7831ab87195a169", "e2e4da133a30501d4a7b7f956a21aa9b",
    "13e84361da224347b97ce97a7e65115c", "7bdcb592bb12a1e1b3497336c28c58f4",
    "8901d4f2f73b4a059e3c2341e0f9558a", "4b348856dc50b5822c93cdb793bfb48f",
    "13e0eb988cb396909b4b2d5969208dd1", "6b7aba02373c48e59185ff48d25d1185",
    "adbbb998df757fcfe91804e510cdcc00", "ec01005f0b1a2f6f185dc6039bb66627",
    "e640b587efac1dd5af1eead7e5340e5c", "d29bcecded535c0337baad9ac5df21fc",
    "ab17f13fd2dc80bc190fc81e889d13c3", "be2cb7a124d62ac7d27c81804cd90fb5",
    "f12dc6d119059cadd3ae1e624652cd8f", "0af7a922fa7d879d039dd52058b7120e",
    "d9e5e0c4efb6ab5010554ca9722b5645", "f579581456192e9945276f561df62d93",
    "6b91cfffb19f2c25e56d4d5243c17ddf", "e6f4a0701bc079bf898d0bfaaefe579d",
    "986bdaec8ab16531f7c798a470076823", "3208da3efa8845e53cd3c0c37720f5b7",
    "f27928e4401b3a386bd384337fb67188", "fc4c605785579c74346c09181f1c2624",
    "d0b7468f9073e90c75fe0c7275e76276", "09e8847f0bdc040587b0531a77caab94",
    "ce61a370800f70bc723caf73230aaf57", "8093d8d1f07090274f4109420b6f23d1",
    "9b643645fca97ac62a5cc68b134b5d28", "770435c842e80798cf87e8b0f79b036e",
    "3c600df998dc0e0610dc12c670346fce", "c9e512626618c9980ef21a96597af94c",
    "ecde7caa08e9f5657c863df107cac60a", "b17b1a018dd6a4d1edda8aca15f17846",
    "e2b55badc05ef280542b7a8a4043feaf", "31a62e665222a2a4115b105209ee86c8",
    "05648e27aa634533a99557f0d4d1e91c", "ed19a5fbe867a70cd5f587103c7109fe",
    "aaea5cebb2697f566c44424804472f5b", "2f0301069e1c40af7f6c8f843b1b13f2",
    "b6bf87c24b1bc334e2541387a92b981b", "f168246f08b6134d66bd2a10343fa9f1",
    "06aad6eea2e5092f51acbb93e1579b1d", "9e5fd316a77b1aaea32a8d3acb93f22f",
    "8180d143ea4aa311d833d077e5f2c1c7", "322e5e50f1a1c58181757838389d4b6c",
    "e646139d4a2a7211214395252db0e0e2", "e2264a41838e27f23965b68e9cffbd10",
    "ea45cc98151df859fa1f1f000296afce", "55aa47c83ce840c65fdeac53ce121e87",
    "0b69d348888ee8f5b6a226f77d8e1f40", "04b145c78384224bd7a60ae4156ea648",
    "e3bd5101cf0f6b5105e40cf75d54c9e3", "8d104deee52b6736f5c505c7d6209d3b",
    "0975a69b91b930568b48b5e390f3f27f", "80b17dc1a66d036679ade049fc22e78e",
    "eed271f04c9ad59ed8c10f41b325df00", "3a9f452afacce39a23b06a73c389f62e",
    "b0214033721251361da8fb6c9e53529e", "6ee9585017c24b8406c33cd690057d88",
    "0c81fd131b93b1bb2977b9afccaf4dbd", "86d6887de371d4906d0ab7ffe9875f82",
    "1eab17c3edd6a6dea39950d927f018db", "f8f7ee26f293474ac857c7dc1a32423a",
    "9f8016461dc8c6a8d2421ffb8fd07d4f", "bb0349eb0c1c42b6a3ea67079d05d5f4",
    "84388be84c67ab3861239775789df5ed", "4d41cbb36a6e891ed5b9a5b5cd4c8942",
    "756f34afcbcd1a3cd9053b32188cbc18", "10e28d167baab9ed2a1eefc1d5a9624a",
    "cccf0a0c93e59428b3d9d86cac6ce176", "b826a78dcd89088698dbfa8c811fa88a",
    "6fd3b66df5a3d37844f1e01139afc563", "2d7bce50e9cce5b90174a4648ac1b2dd",
    "1169ced3215a13528b446b09a9ff005c", "4f3cdfdba8dd6c9b88b7a26b41639606",
    "d2fc8ccfe9948facc7c6d47098357135", "0fc60899f832a3cff6310aa12b5e18bc",
    "8d75ab2511cefb40791a68ded94b154c", "8eb4c323ad214619a9735703cf780443",
    "c0d9c2a6bc958a14ecce34a07644d205", "f3c5078c547ef2b58e2beb327be042de",
    "9d47b633db76da0c3a040ddf5dd86409", "db27d70dc87be665007ebcf44ec513dc",
    "febe423882123da7b732e1af172ad26f", "9737a1517387f21aafb9e334e778038d",
    "ccec379a3d99d8ad32b57f174acbe40a", "e145219ba825c566b3905b008ac4c378",
    "78e1458b5371b996a9d07fec4f8edd17", "1e6ec1c88dd52428bd6f28e3d53b22e0",
    "c0bf72eacd20a829b75001e3420e6984", "8d9d14d275b2cdcb560ca4ca25055f75",
    "6638a8b102073ce1a7e9eb5fcf0c85e5", "6d098259303453bfa8b9c054e17d45cb",
    "6ca80a941ae49648eeb7a3fca0e617d2", "d5dc3d8264de3aa24dee105910ee27fe",
    "bcc139b3848923904860d1eefd6e5923", "10aac7fe9e1def45870b0aa1c3a2faf0",
    "10571e803ff2ab9493a0163b5464b74c", "84951eec19aba8688b6cf09f64588731",
    "3ee6ab6a909bfa194e4de671bb0df6aa", "8234b810c77e67e821bcac57ebcc753a",
    "c2b97f2960456afd54c975eed686b957", "27670172396247fa5f68637f13f8933d",
    "3e85b70ffc8df5c735ecf2a8f14f1bee", "e45ecac9930fe93de302f98ba673ba36",
    "61bd787186dcbb69c3a1c3deb3ad03e6",
};

TEST(DvMd5, AgreesOnEveryLengthAroundTheBlockBorders) {
  std::size_t size = 0;
  for (const char* digest : kDigests) {
    const std::vector<unsigned char> bytes = message(size++);
    EXPECT_EQ(md5Of(bytes.data(), bytes.size()), digest) << bytes.size();
  }
  EXPECT_EQ(size, 131U);
}

TEST(DvMd5, AgreesOnALongMessage) {
  const std::vector<unsigned char> bytes = message(3 * 1024 * 1024 + 17);
  EXPECT_EQ(md5Of(bytes.data(), bytes.size()), "c12b62456eb70165bf9d4e4581aa59de");
}

TEST(DvMd5, TakesAnyAlignment) {
  const std::vector<unsigned char> bytes = message(100);
  std::vector<unsigned char> room(108);
  for (std::size_t shift = 0; shift < 8; ++shift) {
    std::copy(bytes.begin(), bytes.end(), room.begin() + static_cast<std::ptrdiff_t>(shift));
    EXPECT_EQ(md5Of(room.data() + shift, 100), kDigests[100]) << shift;
  }
}

TEST(DvMd5, TakesNullAsEmpty) { EXPECT_EQ(md5Of(nullptr, 9), kDigests[0]); }

TEST(DvMd5, MayWriteTheDigestIntoTheData) {
  std::vector<unsigned char> bytes = message(64);
  _dvMd5().digestBytes(bytes.data(), 64, bytes.data());
  EXPECT_EQ(hexOf(bytes.data()), kDigests[64]);
}

}  // namespace
