// Copying a text: into an object on the stack, into a new object, into one that is used again.

#include "bench/harness.h"

namespace bench {
namespace {

void enrollCopyConstructor() {
  Operation<std::string> copy("Copy", "copyConstructor", kSizes, words);
  copy.peer("ours", [](const std::string& input) {
    return [source = StringBuffer(input.c_str())](const auto& use) {
      const StringBuffer out(source);
      use(out);
    };
  });
  copy.peer("std", [](const std::string& input) {
    return [&input](const auto& use) {
      const std::string out(input);
      use(out);
    };
  });
#if defined(DORVANE_BENCH_HAVE_QT)
  copy.peer("qt", [](const std::string& input) {
    return [source = toQByteArray(input)](const auto& use) {
      const QByteArray out(source.constData(), source.size());  // a plain copy is only shared
      use(out);
    };
  });
#endif
#if defined(DORVANE_BENCH_HAVE_GLIB)
  copy.peer("glib", [](const std::string& input) {
    return [&input](const auto& use) {
      const OwnedGString out(g_string_new_len(input.data(), static_cast<gssize>(input.size())));
      use(out);
    };
  });
#endif
  copy.enroll();
}

void enrollCreateNew() {
  Operation<std::string> copy("Copy", "createNewSB", kSizes, words);
  copy.peer("ours", [](const std::string& input) {
    return [source = StringBuffer(input.c_str())](const auto& use) {
      const OwnedSb out(StringBuffer::createNewSB(source));
      use(out);
    };
  });
  copy.peer("std", [](const std::string& input) {
    return [&input](const auto& use) {
      const auto out = std::make_unique<std::string>(input);
      use(out);
    };
  });
#if defined(DORVANE_BENCH_HAVE_QT)
  copy.peer("qt", [](const std::string& input) {
    return [source = toQByteArray(input)](const auto& use) {
      const auto out = std::make_unique<QByteArray>(source.constData(), source.size());
      use(out);
    };
  });
#endif
#if defined(DORVANE_BENCH_HAVE_GLIB)
  copy.peer("glib", [](const std::string& input) {
    return [&input](const auto& use) {
      const OwnedGchars out(g_strndup(input.data(), input.size()));
      use(out);
    };
  });
#endif
  copy.enroll();
}

void enrollSetString() {
  Operation<std::string> copy("Copy", "setString", kSizes, words);
  copy.peer("ours", [](const std::string& input) {
    return [&input, out = StringBuffer()](const auto& use) mutable {
      out.setString(input.c_str());
      use(out);
    };
  });
  copy.peer("std", [](const std::string& input) {
    return [&input, out = std::string()](const auto& use) mutable {
      out.assign(input.c_str());
      use(out);
    };
  });
#if defined(DORVANE_BENCH_HAVE_QT)
  copy.peer("qt", [](const std::string& input) {
    return [&input, out = QByteArray()](const auto& use) mutable {
      out = input.c_str();
      use(out);
    };
  });
#endif
#if defined(DORVANE_BENCH_HAVE_GLIB)
  copy.peer("glib", [](const std::string& input) {
    return [&input, out = newGString()](const auto& use) {
      g_string_assign(out.get(), input.c_str());
      use(out);
    };
  });
#endif
  copy.enroll();
}

void enrollAll() {
  enrollCopyConstructor();
  enrollCreateNew();
  enrollSetString();
}

[[maybe_unused]] const bool kEnrolled = (enrollAll(), true);

}  // namespace
}  // namespace bench
