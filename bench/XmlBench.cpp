// Writing XML: escaping a text, and a document of many elements. The inputs
// hold only what all peers write alike: no apostrophe, and double quotes only
// where they are escaped.

#include <memory>
#include <new>
#include <string_view>

#include "bench/harness.h"
#include "support/ExtPtrArray.h"
#include "support/StringPair.h"

#if defined(DORVANE_BENCH_HAVE_ABSL)
#include <absl/strings/str_replace.h>
#endif
#if defined(DORVANE_BENCH_HAVE_LIBXML2)
#include <libxml/xmlwriter.h>
#endif
#if defined(DORVANE_BENCH_HAVE_PUGIXML)
#include <pugixml.hpp>
#endif
#if defined(DORVANE_BENCH_HAVE_QT)
#include <QXmlStreamWriter>
#endif

namespace bench {
namespace {

const std::vector<std::string> kMarkup = {"<", ">", "& ", "\""};

constexpr std::size_t kDense = 10;
constexpr std::size_t kSparse = 100;

// The parts of every element.
constexpr const char* kTag = "item";
constexpr const char* kName = "id";
constexpr const char* kValue = "a1b2c3";
constexpr const char* kContent = "fish & chips < 10, a plain text of some length";

// ---- What a user writes with the standard library ----

void appendEscaped(std::string& out, std::string_view text) {
  for (const char c : text) switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      case '\'':
        out += "&apos;";
        break;
      default:
        out += c;
    }
}

std::string documentByStd(std::size_t elements) {
  std::string out;
  for (std::size_t i = 0; i < elements; ++i) {
    out.append("<").append(kTag).append(" ").append(kName).append("=\"");
    appendEscaped(out, kValue);
    out.append("\">");
    appendEscaped(out, kContent);
    out.append("</").append(kTag).append(">");
  }
  return out;
}

// ---- Peers from libxml2 ----

#if defined(DORVANE_BENCH_HAVE_LIBXML2)
const xmlChar* xmlText(const char* text) { return reinterpret_cast<const xmlChar*>(text); }

struct FreeXml {
  void operator()(xmlChar* text) const { xmlFree(text); }
  void operator()(xmlBuffer* buffer) const { xmlBufferFree(buffer); }
  void operator()(xmlTextWriter* writer) const { xmlFreeTextWriter(writer); }
};
using OwnedXmlChars = std::unique_ptr<xmlChar, FreeXml>;
using OwnedXmlBuffer = std::unique_ptr<xmlBuffer, FreeXml>;

std::string toText(const OwnedXmlChars& text) { return reinterpret_cast<const char*>(text.get()); }

std::string toText(const OwnedXmlBuffer& buffer) {
  return reinterpret_cast<const char*>(xmlBufferContent(buffer.get()));
}

OwnedXmlBuffer documentByLibxml2(std::size_t elements) {
  OwnedXmlBuffer out(xmlBufferCreate());
  const std::unique_ptr<xmlTextWriter, FreeXml> writer(xmlNewTextWriterMemory(out.get(), 0));
  for (std::size_t i = 0; i < elements; ++i) {
    xmlTextWriterStartElement(writer.get(), xmlText(kTag));
    xmlTextWriterWriteAttribute(writer.get(), xmlText(kName), xmlText(kValue));
    xmlTextWriterWriteString(writer.get(), xmlText(kContent));
    xmlTextWriterEndElement(writer.get());
  }
  xmlTextWriterFlush(writer.get());
  return out;
}
#endif

// ---- Escaping ----

void addLibraries([[maybe_unused]] Operation<std::string>& escape) {
#if defined(DORVANE_BENCH_HAVE_ABSL)
  escape.peer("absl", [](const std::string& text) {
    return [&text](const auto& use) {
      use(absl::StrReplaceAll(
          text, {{"&", "&amp;"}, {"<", "&lt;"}, {">", "&gt;"}, {"\"", "&quot;"}, {"'", "&apos;"}}));
    };
  });
#endif
#if defined(DORVANE_BENCH_HAVE_QT)
  escape.peer("qt", [](const std::string& text) {
    return [source = toQString(text)](const auto& use) { use(source.toHtmlEscaped()); };
  });
#endif
#if defined(DORVANE_BENCH_HAVE_GLIB)
  escape.peer("glib", [](const std::string& text) {
    return [&text](const auto& use) {
      use(OwnedGchars(g_markup_escape_text(text.data(), static_cast<gssize>(text.size()))));
    };
  });
#endif
#if defined(DORVANE_BENCH_HAVE_LIBXML2)
  escape.peerOn<std::string>("libxml2", [](const std::string& text) {
    return OwnedXmlChars(xmlEncodeSpecialChars(nullptr, xmlText(text.c_str())));
  });
#endif
}

void enrollEscape(const char* name, std::size_t distance, const std::vector<std::string>& marks) {
  Operation<std::string> escape("Xml", name, kSizes, [distance, marks](std::size_t size) {
    return wordsWithMarks(size, distance, marks);
  });
  escape.peer("ours", [](const std::string& text) {
    return [&text](const auto& use) {
      StringBuffer out;
      out.appendXmlNoCdata(text.c_str());
      use(out);
    };
  });
  escape.peer("std", [](const std::string& text) {
    return [&text](const auto& use) {
      std::string out;
      out.reserve(text.size());
      appendEscaped(out, text);
      use(out);
    };
  });
  addLibraries(escape);
  escape.enroll();
}

// ---- Documents ----

#if defined(DORVANE_BENCH_HAVE_PUGIXML)
struct StringWriter : pugi::xml_writer {
  void write(const void* bytes, std::size_t n) override {
    text.append(static_cast<const char*>(bytes), n);
  }
  std::string text;
};

std::string documentByPugixml(std::size_t elements) {
  pugi::xml_document document;
  for (std::size_t i = 0; i < elements; ++i) {
    pugi::xml_node element = document.append_child(kTag);
    element.append_attribute(kName).set_value(kValue);
    element.text().set(kContent);
  }
  StringWriter writer;
  document.save(writer, "", pugi::format_raw | pugi::format_no_declaration);
  return writer.text;
}
#endif

#if defined(DORVANE_BENCH_HAVE_QT)
QByteArray documentByQt(std::size_t elements) {
  QByteArray out;
  QXmlStreamWriter writer(&out);
  for (std::size_t i = 0; i < elements; ++i) {
    writer.writeStartElement(QLatin1String(kTag));
    writer.writeAttribute(QLatin1String(kName), QLatin1String(kValue));
    writer.writeCharacters(QLatin1String(kContent));
    writer.writeEndElement();
  }
  return out;
}
#endif

template <class Append>
void enrollDocument(const char* name, Append append) {
  Operation<std::size_t> build("Xml", name, {100, 100000}, [](std::size_t size) { return size; });
  build.peer("ours", [append](std::size_t elements) {
    return [append, elements](const auto& use) {
      StringBuffer out;
      for (std::size_t i = 0; i < elements; ++i) append(out);
      use(out);
    };
  });
  build.peer("std", [](std::size_t elements) {
    return [elements](const auto& use) { use(documentByStd(elements)); };
  });
#if defined(DORVANE_BENCH_HAVE_PUGIXML)
  build.peer("pugixml", [](std::size_t elements) {
    return [elements](const auto& use) { use(documentByPugixml(elements)); };
  });
#endif
#if defined(DORVANE_BENCH_HAVE_QT)
  build.peer("qt", [](std::size_t elements) {
    return [elements](const auto& use) { use(documentByQt(elements)); };
  });
#endif
#if defined(DORVANE_BENCH_HAVE_LIBXML2)
  build.peer("libxml2", [](std::size_t elements) {
    return [elements](const auto& use) { use(documentByLibxml2(elements)); };
  });
#endif
  build.enroll();
}

void enrollAll() {
  enrollEscape("appendXmlNoCdata", kSparse, kMarkup);
  enrollEscape("appendXmlNoCdataDense", kDense, kMarkup);
  enrollEscape("appendXmlNoCdataClean", kSparse, {"plain"});
  const auto attributes = std::make_shared<ExtPtrArray>();
  attributes->appendPtr(new (std::nothrow) StringPair(kName, kValue));
  enrollDocument("appendXml",
                 [attributes](StringBuffer& out) { out.appendXml(kTag, *attributes, kContent); });
  enrollDocument("simpleXml", [](StringBuffer& out) {
    const char* const names[] = {kName};
    const char* const values[] = {kValue};
    out.simpleXml(kTag, kContent, 1, names, values);
  });
}

[[maybe_unused]] const bool kEnrolled = (enrollAll(), true);

}  // namespace
}  // namespace bench
