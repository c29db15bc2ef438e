// Configuration files read by Import, in two forms chosen by the first byte
// (the layout of the rest is given at FromFolder and FromStream):
// - a folder: config.ini and/or config2.ini written from the input, read
//   through ImportFile as Import reads them (File, 8192-byte ring);
// - a stream: the bytes handed out in input-chosen pieces through an
//   InputStreamBuffer of input-chosen size, read through ImportLines.
// Checks: the right file is read; every byte is handed on exactly once, in
// pieces of at most 1023 bytes that end at a line end or at that limit; each
// line parses the same again in a buffer of its own size (names and text
// inside it, at most 341 bytes from a list of 1023); a key line read without
// a note gives what its bytes say; the store equals a plain map filled from
// those lines, last value wins, no group without keys; and the plain reader
// of tests/config (one virtual Read a byte, sscanf) makes the same store
// calls in the same order, the same observer calls and the same store, as
// does a stream read without the buffer's inline path.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "FuzzCheck.h"
#include "config/ConfigImportModel.h"
#include "config/ConfigLineParser.h"
#include "config/ConfigSystemImpl.h"
#include "file/InputStream.h"
#include "file/InputStreamBuffer.h"

namespace {

constexpr std::size_t kLineLimit = kConfigLineBufferSize - 1;

// What one key holds: 'n' number, 't' text, 'h' bytes.
struct Value {
  char kind = 0;
  std::string bytes;  // the text or the byte list
  Tevrol::Long number = 0;
  bool operator==(Value const& other) const {
    return kind == other.kind && bytes == other.bytes && number == other.number;
  }
};

using Store = std::map<std::pair<std::string, std::string>, Value>;

// A scratch folder in memory where the machine offers it. libFuzzer leaves
// by _exit, so the folder stays behind; it holds two small files at most.
std::string const& ScratchFolder() {
  static std::string const path = [] {
    char shm[] = "/dev/shm/tevrol-fuzz-config-XXXXXX";
    char tmp[] = "/tmp/tevrol-fuzz-config-XXXXXX";
    char const* name = mkdtemp(shm);
    if (name == nullptr) name = mkdtemp(tmp);
    if (name == nullptr) {
      std::perror("mkdtemp");
      std::abort();
    }
    return std::string(name);
  }();
  return path;
}

void WriteOrRemove(std::string const& path, std::string const* content) {
  unlink(path.c_str());
  if (content == nullptr) return;
  std::FILE* file = std::fopen(path.c_str(), "wb");
  FUZZ_CHECK(file != nullptr);
  FUZZ_CHECK(std::fwrite(content->data(), 1, content->size(), file) == content->size());
  FUZZ_CHECK(std::fclose(file) == 0);
}

// Hands out its bytes in pieces of the sizes given (cycled), then code 7
// with no byte, as a file does at its end. Never 0 bytes with code 0.
class PieceStream : public InputStream {
 public:
  PieceStream(std::string bytes, std::vector<std::uint8_t> pieces)
      : m_bytes(std::move(bytes)), m_pieces(std::move(pieces)) {}
  Tevrol::ULong Read(unsigned char* buffer, Tevrol::ULong length,
                     Tevrol::ULong* bytesRead) override {
    std::size_t n = m_bytes.size() - m_position;
    if (n == 0 || length == 0) {
      *bytesRead = 0;
      return kStreamEndOfData;
    }
    std::size_t piece = m_pieces.empty() ? 1 : m_pieces[m_next++ % m_pieces.size()] + 1u;
    if (n > piece) n = piece;
    if (n > length) n = length;
    std::memcpy(buffer, m_bytes.data() + m_position, n);
    m_position += n;
    *bytesRead = static_cast<Tevrol::ULong>(n);
    return kStreamSuccess;
  }
  Tevrol::ULong Flush() override { return 0; }
  Tevrol::ULong EnableWait() override { return 0; }
  Tevrol::ULong WaitForData() override { return 0; }
  Tevrol::ULong DisableWait() override { return 0; }
  void Cancel() override {}
  void SetReadTimeout(Tevrol::Long) override {}
  Tevrol::Long GetReadTimeout() override { return 0; }

 private:
  std::string m_bytes;
  std::vector<std::uint8_t> m_pieces;
  std::size_t m_position = 0;
  std::size_t m_next = 0;
};

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// A key line read without a note, worked out from its bytes alone:
// "name"=<value> with the value behind the first ":" for numbers and lists.
void CheckPlainKeyLine(std::string const& raw, ConfigLine const& parsed,
                       unsigned char const* bytes) {
  std::size_t const close = raw.find('"', 1);
  FUZZ_CHECK(close != std::string::npos && raw[close + 1] == '=');
  FUZZ_CHECK(raw.compare(1, close - 1, parsed.name) == 0);
  std::size_t const value = close + 2;
  if (parsed.kind == ConfigLineKind::Text) {
    std::size_t const end = raw.find('"', value + 1);
    FUZZ_CHECK(raw.compare(value + 1, end - value - 1, parsed.text) == 0);
    return;
  }
  std::size_t const colon = raw.find(':', value);
  FUZZ_CHECK(colon != std::string::npos);
  if (parsed.kind == ConfigLineKind::Number) {
    // "%8x": blanks skipped, then 8 places for a sign, a 0x and digits.
    std::uint32_t number = 0;
    std::size_t at = colon + 1;
    while (raw[at] != '\0' && std::strchr(" \t\n\v\f\r", raw[at]) != nullptr) ++at;
    int width = 8;
    bool const negative = raw[at] == '-';
    if (raw[at] == '-' || raw[at] == '+') ++at, --width;
    if (raw[at] == '0' && (raw[at + 1] == 'x' || raw[at + 1] == 'X') && width >= 3 &&
        HexDigit(raw[at + 2]) >= 0) {
      at += 2;
      width -= 2;
    }
    for (; width > 0 && HexDigit(raw[at]) >= 0; --width, ++at) {
      number = number * 16u + static_cast<std::uint32_t>(HexDigit(raw[at]));
    }
    if (negative) number = 0u - number;
    FUZZ_CHECK(parsed.number == static_cast<Tevrol::Long>(number));
    return;
  }
  // Two digits and a separator for each byte.
  for (Tevrol::ULong i = 0; i < parsed.byteCount; ++i) {
    std::size_t const at = colon + 1 + 3 * i;
    FUZZ_CHECK(bytes[i] == HexDigit(raw[at]) * 16 + HexDigit(raw[at + 1]));
  }
}

bool Inside(char const* pointer, char const* begin, std::size_t length) {
  return pointer >= begin && pointer < begin + length;
}

// Checks every line handed on and builds the model store from it.
class Checker : public ConfigImportModel::RecordingObserver {
 public:
  void FileRead(char const* path) override {
    RecordingObserver::FileRead(path);
    m_fileReported = true;
    m_file = path != nullptr ? path : "";
  }

  void Line(Tevrol::ULong lineNumber, char const* raw, Tevrol::ULong length,
            ConfigLine const& parsed) override {
    RecordingObserver::Line(lineNumber, raw, length, parsed);
    FUZZ_CHECK(!m_ended);
    FUZZ_CHECK(length >= 1 && length <= kLineLimit);
    bool const endsLine = raw[length - 1] == '\n';
    FUZZ_CHECK(endsLine || length == kLineLimit);
    FUZZ_CHECK(std::memchr(raw, '\n', length - 1) == nullptr);
    FUZZ_CHECK(raw[length] == '\0');
    FUZZ_CHECK(lineNumber == m_lineNumber);
    m_read.append(raw, length);

    // The same line parsed again in a buffer of exactly its size.
    std::unique_ptr<char[]> copy(new char[length + 1]);
    std::memcpy(copy.get(), raw, length + 1);
    std::unique_ptr<unsigned char[]> bytes(new unsigned char[kConfigLineBufferSize]);
    ConfigLine again;
    ParseConfigLine(copy.get(), length, m_inGroup, m_restOfCutLine, bytes.get(), again);
    FUZZ_CHECK(again.kind == parsed.kind && again.note == parsed.note);
    FUZZ_CHECK(again.number == parsed.number && again.byteCount == parsed.byteCount);
    FUZZ_CHECK((again.name == nullptr) == (parsed.name == nullptr));
    FUZZ_CHECK((again.text == nullptr) == (parsed.text == nullptr));
    if (again.name != nullptr) {
      FUZZ_CHECK(Inside(again.name, copy.get(), length));
      FUZZ_CHECK(std::strcmp(again.name, parsed.name) == 0);
    }
    if (again.text != nullptr) {
      FUZZ_CHECK(Inside(again.text, copy.get(), length));
      FUZZ_CHECK(std::strcmp(again.text, parsed.text) == 0);
    }
    FUZZ_CHECK(again.byteCount <= (kLineLimit + 2) / 3);
    FUZZ_CHECK(again.kind == ConfigLineKind::Ignored || again.name != nullptr);
    if (m_restOfCutLine) FUZZ_CHECK(again.note == ConfigLineNote::CutLineRest);
    if (raw[0] != '[' && raw[0] != '"') FUZZ_CHECK(again.kind == ConfigLineKind::Ignored);
    bool const isKey = again.kind == ConfigLineKind::Text || again.kind == ConfigLineKind::Number ||
                       again.kind == ConfigLineKind::Bytes;
    if (isKey && again.note == ConfigLineNote::None) {
      CheckPlainKeyLine(std::string(raw, length), again, bytes.get());
    }

    Value value;
    switch (again.kind) {
      case ConfigLineKind::Group:
        FUZZ_CHECK(raw[0] == '[');
        m_group = again.name;
        m_inGroup = true;
        break;
      case ConfigLineKind::Text:
        value.kind = 't';
        value.bytes = again.text;
        break;
      case ConfigLineKind::Number:
        value.kind = 'n';
        value.number = again.number;
        break;
      case ConfigLineKind::Bytes:
        value.kind = 'h';
        value.bytes.assign(reinterpret_cast<char const*>(bytes.get()), again.byteCount);
        break;
      case ConfigLineKind::Ignored:
        break;
    }
    if (value.kind != 0) {
      FUZZ_CHECK(m_inGroup && raw[0] == '"');
      model[{m_group, again.name}] = value;
    }
    m_restOfCutLine = !endsLine;
    if (endsLine) ++m_lineNumber;
  }

  void End(Tevrol::ULong lineNumber, char const* raw, Tevrol::ULong length) override {
    RecordingObserver::End(lineNumber, raw, length);
    FUZZ_CHECK(!m_ended);
    m_ended = true;
    FUZZ_CHECK(lineNumber == m_lineNumber);
    FUZZ_CHECK(length < kLineLimit);
    FUZZ_CHECK(length == 0 || std::memchr(raw, '\n', length) == nullptr);
    m_read.append(raw, length);
  }

  // The bytes handed on, lines and the dropped end together.
  std::string const& Read() const { return m_read; }
  bool FileReported() const { return m_fileReported; }
  std::string const& File() const { return m_file; }
  bool Ended() const { return m_ended; }

  Store model;

 private:
  std::string m_read;
  std::string m_file;
  std::string m_group;
  bool m_fileReported = false;
  bool m_ended = false;
  bool m_inGroup = false;
  bool m_restOfCutLine = false;
  Tevrol::ULong m_lineNumber = 1;
};

Store Snapshot(ConfigSystemImpl& system) {
  Store store;
  system.WalkStore([&](char const* group, ConfigKeyDataContainer* container) {
    FUZZ_CHECK(container != nullptr);  // a group comes with its first key only
    Value value;
    TxString text;
    unsigned char* data = nullptr;
    Tevrol::ULong size = 0;
    if (container->GetNumericalValue(value.number)) {
      value.kind = 'n';
    } else if (container->GetStringValue(text)) {
      value.kind = 't';
      value.bytes = text.ToLatin1().GetConstData();
    } else {
      FUZZ_CHECK(container->GetDataChunk(data, size));
      value.kind = 'h';
      value.bytes.assign(reinterpret_cast<char const*>(data), size);
    }
    auto const inserted = store.emplace(std::make_pair(group, container->GetKeyName()), value);
    FUZZ_CHECK(inserted.second);
  });
  return store;
}

// What one reader showed of an import, to compare with another.
struct Seen {
  std::string calls;
  std::string observed;
  Store store;
  bool dirty = false;
  bool timer = false;
  bool operator==(Seen const& other) const {
    return calls == other.calls && observed == other.observed && store == other.store &&
           dirty == other.dirty && timer == other.timer;
  }
};

Seen Finish(ConfigImportModel::RecordingSystem& system, std::string const& observed) {
  Seen seen{system.calls, observed, Snapshot(system)};
  system.GetFlagsForTesting(seen.dirty, seen.timer);
  system.Shutdown();
  return seen;
}

// The input's head, read byte by byte; 0 once it is used up.
struct Head {
  std::uint8_t const* data;
  std::size_t size;
  std::uint8_t Byte() {
    if (size == 0) return 0;
    --size;
    return *data++;
  }
  std::string Rest() { return std::string(reinterpret_cast<char const*>(data), size); }
};

// Byte 1 says which files exist (bit 0 config.ini, bit 1 config2.ini),
// bytes 2-3 the length of config.ini (little-endian, clipped); config2.ini
// gets the rest.
void FromFolder(Head input) {
  std::uint8_t const files = input.Byte();
  std::size_t length = input.Byte();
  length |= static_cast<std::size_t>(input.Byte()) << 8;
  std::string const rest = input.Rest();
  if (length > rest.size()) length = rest.size();
  std::string const first = rest.substr(0, length);
  std::string const second = rest.substr(length);
  bool const hasFirst = (files & 1) != 0;
  bool const hasSecond = (files & 2) != 0;
  std::string const& folder = ScratchFolder();
  WriteOrRemove(folder + "/config.ini", hasFirst ? &first : nullptr);
  WriteOrRemove(folder + "/config2.ini", hasSecond ? &second : nullptr);

  ConfigImportModel::RecordingSystem system;
  system.SetPersistentStorageFolder(folder.c_str());
  Checker checker;
  system.ImportFile(&checker);
  FUZZ_CHECK(checker.FileReported());
  if (hasFirst || hasSecond) {
    FUZZ_CHECK(checker.File() == folder + (hasFirst ? "/config.ini" : "/config2.ini"));
    FUZZ_CHECK(checker.Ended());
    FUZZ_CHECK(checker.Read() == (hasFirst ? first : second));
  } else {
    FUZZ_CHECK(checker.File().empty() && !checker.Ended());
  }
  FUZZ_CHECK(Snapshot(system) == checker.model);
  Seen const seen = Finish(system, checker.calls);

  ConfigImportModel::RecordingSystem model;
  model.SetPersistentStorageFolder(folder.c_str());
  ConfigImportModel::RecordingObserver observer;
  ConfigImportModel::ImportFile(model, &observer);
  FUZZ_CHECK(seen == Finish(model, observer.calls));
}

// Bytes 1-2: the ring size (1 to 9000), byte 3: how many piece sizes follow
// (at most 8; each piece is that byte + 1 long, cycled); then the file.
void FromStream(Head input) {
  unsigned const ring = input.Byte() | static_cast<unsigned>(input.Byte()) << 8;
  std::vector<std::uint8_t> pieces(input.Byte() % 9u);
  for (std::uint8_t& piece : pieces) piece = input.Byte();
  std::string const bytes = input.Rest();
  auto const ringSize = static_cast<Tevrol::Long>(1 + ring % 9000);
  PieceStream source(bytes, pieces);
  InputStreamBuffer stream(&source, ringSize);

  ConfigImportModel::RecordingSystem system;
  Checker checker;
  system.ImportLines(stream, &checker);
  FUZZ_CHECK(checker.Ended());
  FUZZ_CHECK(checker.Read() == bytes);
  FUZZ_CHECK(Snapshot(system) == checker.model);
  Seen const seen = Finish(system, checker.calls);

  PieceStream modelSource(bytes, pieces);
  InputStreamBuffer modelStream(&modelSource, ringSize);
  ConfigImportModel::RecordingSystem model;
  ConfigImportModel::RecordingObserver modelObserver;
  ConfigImportModel::ImportLines(model, modelStream, &modelObserver);
  FUZZ_CHECK(seen == Finish(model, modelObserver.calls));

  // The same buffer read through its virtual Read alone.
  PieceStream plainSource(bytes, pieces);
  InputStreamBuffer plainStream(&plainSource, ringSize);
  ConfigImportModel::RecordingSystem plain;
  ConfigImportModel::RecordingObserver plainObserver;
  plain.ImportLines(static_cast<InputStream&>(plainStream), &plainObserver);
  FUZZ_CHECK(seen == Finish(plain, plainObserver.calls));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  Head input{data, size};
  // Byte 0: odd reads a folder, even a stream.
  if (input.Byte() % 2 != 0) {
    FromFolder(input);
  } else {
    FromStream(input);
  }
  return 0;
}
