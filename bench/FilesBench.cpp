// Loading and saving whole files, which the host keeps in memory. The path is ready; opening and
// closing the file is measured.

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <random>

#include "bench/harness.h"
#include "support/XString.h"

#if defined(DORVANE_BENCH_HAVE_QT)
#include <QFile>
#endif

namespace bench {
namespace {

// A file that goes with its object.
class TemporaryFile {
 public:
  TemporaryFile() = default;
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ~TemporaryFile() { std::remove(m_path.c_str()); }

  const char* path() const { return m_path.c_str(); }

  void write(const std::string& text) const {
    std::ofstream out(m_path, std::ios::binary);
    out << text;
    endUnless(static_cast<bool>(out.flush()));
  }

  std::string content() const {
    std::ifstream in(m_path, std::ios::binary);
    endUnless(in.is_open());
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  }

 private:
  // Without a file nothing can be measured.
  void endUnless(bool works) const {
    if (works) return;
    std::cerr << "cannot use the file " << m_path << '\n';
    std::exit(1);
  }

  static std::string newPath() {
    const std::string name = "dorvane-bench-" + std::to_string(std::random_device()());
    return (std::filesystem::temp_directory_path() / name).string();
  }

  std::string m_path = newPath();
};

using SharedFile = std::shared_ptr<const TemporaryFile>;

// What a peer has saved.
std::string toText(const SharedFile& file) { return file->content(); }

// ---- Loading ----

// A peer that makes a text of its own type by `load(path)`.
template <class Load>
void addLoad(Operation<std::string>& operation, const char* name, Load load) {
  operation.peer(name, [load](const std::string& text) {
    const auto file = std::make_shared<TemporaryFile>();
    file->write(text);
    return [load, file](const auto& use) { use(load(file->path())); };
  });
}

// A user keeps the path as an XString.
void addLoadOurs(Operation<std::string>& operation) {
  operation.peer("ours", [](const std::string& text) {
    const auto file = std::make_shared<TemporaryFile>();
    file->write(text);
    const auto path = std::make_shared<XString>();
    path->setFromUtf8(file->path());
    return [path, file](const auto& use) {
      StringBuffer out;
      out.loadFromFile(*path, nullptr);
      use(out);
    };
  });
}

std::string loadedByStd(const char* path) {
  std::ifstream in(path, std::ios::binary | std::ios::ate);
  std::string out(static_cast<std::size_t>(in.tellg()), '\0');
  in.seekg(0);
  in.read(out.data(), static_cast<std::streamsize>(out.size()));
  return out;
}

std::string loadedByLibc(const char* path) {
  std::FILE* const file = std::fopen(path, "rb");
  if (file == nullptr) return {};
  std::fseek(file, 0, SEEK_END);
  std::string out(static_cast<std::size_t>(std::ftell(file)), '\0');
  std::rewind(file);
  out.resize(std::fread(out.data(), 1, out.size(), file));
  std::fclose(file);
  return out;
}

void enrollLoad() {
  Operation<std::string> load("Files", "loadFromFile", kSizesOfTexts, words);
  addLoadOurs(load);
  addLoad(load, "std", loadedByStd);
  addLoad(load, "libc", loadedByLibc);
#if defined(DORVANE_BENCH_HAVE_QT)
  addLoad(load, "qt", [](const char* path) {
    QFile file(QFile::decodeName(path));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
  });
#endif
#if defined(DORVANE_BENCH_HAVE_GLIB)
  addLoad(load, "glib", [](const char* path) {
    gchar* text = nullptr;
    g_file_get_contents(path, &text, nullptr, nullptr);
    return OwnedGchars(text);
  });
#endif
  load.enroll();
}

// ---- Saving ----

// A peer that saves a text of its own type by `save(text, path)`.
template <class Text, class Save>
void addSave(Operation<std::string>& operation, const char* name, Save save) {
  operation.peer(name, [save](const std::string& text) {
    const SharedFile file = std::make_shared<TemporaryFile>();
    return [save, file, source = Text(text.c_str())](const auto& use) {
      save(source, file->path());
      use(file);
    };
  });
}

void enrollSave() {
  Operation<std::string> operation("Files", "saveToFileUtf8", kSizesOfTexts, words);
  addSave<StringBuffer>(operation, "ours", [](const StringBuffer& text, const char* path) {
    text.saveToFileUtf8(path, nullptr);
  });
  addSave<std::string>(operation, "std", [](const std::string& text, const char* path) {
    std::ofstream out(path, std::ios::binary);
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
  });
  addSave<std::string>(operation, "libc", [](const std::string& text, const char* path) {
    std::FILE* const file = std::fopen(path, "wb");
    if (file == nullptr) return;
    std::fwrite(text.data(), 1, text.size(), file);
    std::fclose(file);
  });
#if defined(DORVANE_BENCH_HAVE_QT)
  addSave<QByteArray>(operation, "qt", [](const QByteArray& text, const char* path) {
    QFile file(QFile::decodeName(path));
    if (file.open(QIODevice::WriteOnly)) file.write(text);
  });
#endif
  operation.enroll();
}

void enrollAll() {
  enrollLoad();
  enrollSave();
}

[[maybe_unused]] const bool kEnrolled = (enrollAll(), true);

}  // namespace
}  // namespace bench
