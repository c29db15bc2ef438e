#include "config/ConfigSystemImpl.h"

#include <cerrno>
#include <cstring>
#include <type_traits>

#include "file/File.h"
#include "file/InputStreamBuffer.h"
#include "frame/Accessors.h"
#include "timer/TimerCtrl.h"
#include "timetext/StrFunctionsPI.h"

namespace {

// Block size of the entries of both map levels.
constexpr Tevrol::Long kMapBlockSize = 10;
// The stream buffer of Import.
constexpr Tevrol::Long kImportBufferSize = 8192;
// Attributes of the files' File; they have no effect.
constexpr Tevrol::Long kFileAttributes = 0x80;

}  // namespace

ConfigSystemImpl::ConfigSystemImpl()
    : m_persistenceEnabled(false),
      m_groups(17, kMapBlockSize),
      m_dirty(false),
      m_exportTimerRunning(false),
      m_lastGroupName(nullptr),
      m_lastGroupKeys(nullptr),
      m_lastGroupSerial(0),
      m_groupSerial(0),
      m_importNames(nullptr) {}

ConfigSystemImpl::~ConfigSystemImpl() = default;

void ConfigSystemImpl::Tick() {
  m_lock.Lock();
  if (m_dirty) Export();
  m_exportTimerRunning = false;
  m_dirty = false;
  m_lock.Unlock();
}

void ConfigSystemImpl::Changed() {
  m_lock.Lock();
  m_dirty = true;
  StartExportTimer();
  m_lock.Unlock();
}

void ConfigSystemImpl::StartExportTimer() {
  m_lock.Lock();
  if (!m_exportTimerRunning) {
    TimerCtrl_GetInstance()->NewTimer(this);
    m_exportTimerRunning = true;
  }
  m_lock.Unlock();
}

void ConfigSystemImpl::Flush() {
  m_lock.Lock();
  if (m_dirty) Export();
  m_dirty = false;  // the timer is left to run out
  m_lock.Unlock();
}

void ConfigSystemImpl::GetFlagsForTesting(bool& dirty, bool& exportTimerRunning) {
  m_lock.Lock();
  dirty = m_dirty;
  exportTimerRunning = m_exportTimerRunning;
  m_lock.Unlock();
}

ConfigKeyDataContainer* ConfigSystemImpl::GetKeyDataContainer(TxString const& group,
                                                              TxString const& key) {
  GroupMap::CEntry* const groupEntry = m_groups.Lookup(group.ToLatin1());
  if (groupEntry == nullptr || groupEntry->m_value == nullptr) return nullptr;
  KeyMap::CEntry* const keyEntry = groupEntry->m_value->Lookup(key.ToLatin1());
  return keyEntry != nullptr ? keyEntry->m_value : nullptr;
}

ConfigKeyDataContainer* ConfigSystemImpl::CreateKeyDataContainer(TxString const& group,
                                                                 TxString const& key) {
  ImportNames const* const names = m_importNames;
  if (names != nullptr && &group == names->group && &key == names->key) {
    return FindOrCreateKey(names->groupBytes, names->keyBytes, names->groupSerial);
  }
  TxByteArray const groupName = group.ToLatin1();
  TxByteArray const keyName = key.ToLatin1();
  return FindOrCreateKey(groupName, keyName, 0);
}

ConfigKeyDataContainer* ConfigSystemImpl::FindOrCreateKey(char const* group, char const* key,
                                                          std::uint64_t groupSerial) {
  if (groupSerial == 0 || groupSerial != m_lastGroupSerial) {
    if (m_lastGroupName == nullptr || std::strcmp(m_lastGroupName, group) != 0) {
      GroupMap::CEntry* const groupEntry = m_groups.Lookup(group);
      if (groupEntry != nullptr) {
        m_lastGroupName = groupEntry->m_key;
        m_lastGroupKeys = groupEntry->m_value;
      } else {
        char* copy = nullptr;
        StrFunctionsPI::SetStringData(copy, group);
        m_lastGroupKeys = m_groups[copy] = new KeyMap(17, kMapBlockSize);
        m_lastGroupName = copy;
      }
    }
    m_lastGroupSerial = groupSerial;
  }
  KeyMap* const keys = m_lastGroupKeys;
  // One walk of the chain, where Lookup and then operator[] walk it twice
  // for a new key, which an import of a fresh store has on every line.
  Tevrol::Long const count = keys->GetCount();
  ConfigKeyDataContainer*& value = (*keys)[key];
  if (keys->GetCount() == count) return value;
  auto* const container = new ConfigKeyDataContainer();
  container->SetKeyName(key);
  value = container;
  // The entry just made heads its bucket, under the caller's text for now:
  // the container's own copy of the name becomes the map's key.
  keys->m_table[PIMapKeys::HashKey(key) % keys->m_bucketCount]->m_key = container->GetKeyName();
  return container;
}

bool ConfigSystemImpl::RetrieveNumericalValue(TxString const& group, TxString const& key,
                                              Tevrol::Long& value, Tevrol::Long defaultValue) {
  value = defaultValue;
  ConfigKeyDataContainer* const container = GetKeyDataContainer(group, key);
  return container != nullptr && container->GetNumericalValue(value);
}

bool ConfigSystemImpl::StoreNumericalValue(TxString const& group, TxString const& key,
                                           Tevrol::Long value) {
  if (CreateKeyDataContainer(group, key)->SetNumericalValue(value)) Changed();
  return true;
}

bool ConfigSystemImpl::RetrieveStringValue(TxString const& group, TxString const& key,
                                           TxString& value, TxString const& defaultValue) {
  value = defaultValue;
  ConfigKeyDataContainer* const container = GetKeyDataContainer(group, key);
  return container != nullptr && container->GetStringValue(value);
}

bool ConfigSystemImpl::StoreStringValue(TxString const& group, TxString const& key,
                                        TxString const& value) {
  if (CreateKeyDataContainer(group, key)->SetStringValue(value)) Changed();
  return true;
}

bool ConfigSystemImpl::RetrieveByteArray(TxString const& group, TxString const& key,
                                         unsigned char* buffer, Tevrol::ULong bufferSize,
                                         Tevrol::ULong& length) {
  length = 0;
  ConfigKeyDataContainer* const container = GetKeyDataContainer(group, key);
  unsigned char* data = nullptr;
  Tevrol::ULong size = 0;
  if (container == nullptr || !container->GetDataChunk(data, size)) return false;
  length = size < bufferSize ? size : bufferSize;
  // memmove: buffer may be the key's own chunk, or overlap it.
  if (length > 0) std::memmove(buffer, data, length);
  return true;
}

bool ConfigSystemImpl::RetrieveByteArray(TxString const& group, TxString const& key,
                                         unsigned char*& data, Tevrol::ULong& length,
                                         unsigned char* defaultData, Tevrol::ULong defaultLength) {
  data = defaultData;
  length = defaultLength;
  ConfigKeyDataContainer* const container = GetKeyDataContainer(group, key);
  unsigned char* chunk = nullptr;
  Tevrol::ULong size = 0;
  if (container == nullptr || !container->GetDataChunk(chunk, size)) return false;
  data = new unsigned char[size];
  if (size > 0) std::memcpy(data, chunk, size);
  length = size;
  return true;
}

bool ConfigSystemImpl::StoreByteArray(TxString const& group, TxString const& key,
                                      unsigned char* data, Tevrol::ULong length) {
  if (CreateKeyDataContainer(group, key)->SetDataChunk(data, length)) Changed();
  return true;
}

bool ConfigSystemImpl::DeleteValue(TxString const& group, TxString const& key) {
  GroupMap::CEntry* const groupEntry = m_groups.Lookup(group.ToLatin1());
  if (groupEntry == nullptr || groupEntry->m_value == nullptr) return false;
  KeyMap* const keys = groupEntry->m_value;
  KeyMap::CEntry* const keyEntry = keys->Lookup(key.ToLatin1());
  if (keyEntry == nullptr) return false;
  ConfigKeyDataContainer* const container = keyEntry->m_value;
  // Unlinked first: the entry's key text belongs to the container.
  keys->RemoveKey(keyEntry->m_key);
  delete container;
  Changed();
  return true;
}

void ConfigSystemImpl::SetPersistentStorageFolder(TxString const& folder) {
  m_persistentStorageFolder = folder;
  SetupFilePath();
}

void ConfigSystemImpl::SetAppName(TxString const& name) {
  m_appName = name;
  SetupFilePath();
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the interface takes the text by value
void ConfigSystemImpl::SetAppFolder(TxString folder) {
  m_appFolder = folder;
  SetupFilePath();
}

bool ConfigSystemImpl::CreateGroup(TxString const&) {
  return true;
}

bool ConfigSystemImpl::GetFirstKey(TxString const&, TxString&) {
  return false;
}

bool ConfigSystemImpl::GetNextKey(TxString const&, TxString&) {
  return false;
}

void ConfigSystemImpl::Shutdown() {
  m_lock.Lock();
  if (m_dirty) Export();  // m_dirty stays
  m_lock.Unlock();

  m_groups.Rewind();
  if (m_groups.m_nextEntry != nullptr) {
    char const* group = nullptr;
    KeyMap* keys = nullptr;
    for (bool more = true; more;) {
      more = m_groups.GetNextEntry(group, keys);
      StrFunctionsPI::StrFree(const_cast<char*>(group));
      group = nullptr;
      if (keys == nullptr) continue;
      keys->Rewind();
      if (keys->m_nextEntry != nullptr) {
        char const* key = nullptr;
        ConfigKeyDataContainer* value = nullptr;
        for (bool moreKeys = true; moreKeys;) {
          moreKeys = keys->GetNextEntry(key, value);
          delete value;
          value = nullptr;
        }
      }
      keys->RemoveAll();
      delete keys;
      keys = nullptr;
    }
  }
  m_groups.RemoveAll();
  m_lastGroupName = nullptr;
  m_lastGroupKeys = nullptr;
  m_lastGroupSerial = 0;

  TimerCtrl* const timers = TimerCtrl_GetInstance();
  if (timers != nullptr) {
    // Also with m_exportTimerRunning clear: a Tick that has just cleared it
    // may not have returned yet, and the owner may delete this system once
    // Shutdown returns. Without m_lock: RemoveTimer waits for that Tick.
    timers->RemoveTimer(this);
    m_lock.Lock();
    m_exportTimerRunning = false;
    m_lock.Unlock();
  }
}

bool ConfigSystemImpl::ReadLineFromFile(InputStream& stream, unsigned char* buffer,
                                        Tevrol::ULong bufferSize, Tevrol::ULong& length) {
  length = 0;
  while (length + 1 < bufferSize) {
    Tevrol::ULong got = 0;
    if (stream.Read(buffer + length, 1, &got) != 0) {
      buffer[length] = 0;
      return false;
    }
    if (got == 0) break;
    if (buffer[length++] == '\n') break;
  }
  buffer[length] = 0;
  return true;
}

Tevrol::Long ConfigSystemImpl::Import() {
  ImportFile(nullptr);
  return 0;
}

void ConfigSystemImpl::ImportFile(ConfigImportObserver* observer) {
  TxString const& folder = GetPersistentStorageFolder();
  TxString const first = folder + TxString("/config.ini");
  TxString const second = folder + TxString("/config2.ini");
  File file(first, 0, 0, 0, kFileAttributes, false);
  TxString const* opened = &first;
  if (file.Open() != 0) {
    if (observer != nullptr) observer->OpenFailed(first.ToLatin1(), errno);
    file.SetFileName(second);
    opened = &second;
    if (file.Open() != 0) {
      if (observer != nullptr) {
        observer->OpenFailed(second.ToLatin1(), errno);
        observer->FileRead(nullptr);
      }
      return;
    }
  }
  if (observer != nullptr) observer->FileRead(opened->ToLatin1());
  InputStreamBuffer stream(file.GetInputStream(), kImportBufferSize);
  ImportLines(stream, observer);
  if (observer != nullptr) {
    // The end of the file and a failed read end the loop alike; a failed
    // read fails again, the end gives the end code again.
    unsigned char probe = 0;
    Tevrol::ULong got = 0;
    errno = 0;
    if (file.Read(&probe, 1, &got) == kStreamFailure) observer->ReadFailed(errno);
  }
  file.Close();
}

namespace {

// ReadLineFromFile into a buffer of kConfigLineBufferSize bytes, with the
// bytes the ring holds taken inline; Read, one byte, only when it has run
// empty.
bool ReadLine(InputStreamBuffer& stream, unsigned char* buffer, Tevrol::ULong& lineLength) {
  Tevrol::ULong length = 0;
  bool read = true;
  while (length + 1 < kConfigLineBufferSize) {
    Tevrol::ULong const taken =
        stream.TakeBuffered(buffer + length, kConfigLineBufferSize - 1 - length, '\n');
    if (taken != 0) {
      length += taken;
      if (buffer[length - 1] == '\n') break;
      continue;
    }
    Tevrol::ULong got = 0;
    if (stream.Read(buffer + length, 1, &got) != 0) {
      read = false;
      break;
    }
    if (got == 0) break;
    if (buffer[length++] == '\n') break;
  }
  buffer[length] = 0;
  lineLength = length;
  return read;
}

}  // namespace

void ConfigSystemImpl::ImportLines(InputStream& stream, ConfigImportObserver* observer) {
  ReadLines(stream, observer);
}

void ConfigSystemImpl::ImportLines(InputStreamBuffer& stream, ConfigImportObserver* observer) {
  ReadLines(stream, observer);
}

template <class Stream>
void ConfigSystemImpl::ReadLines(Stream& stream, ConfigImportObserver* observer) {
  auto* const line = new unsigned char[kConfigLineBufferSize];
  // One collecting buffer for all byte lists of the file.
  auto* const bytes = new unsigned char[kConfigLineBufferSize];
  char* const raw = observer != nullptr ? new char[kConfigLineBufferSize] : nullptr;
  // The texts handed to the store are assigned line by line, which keeps
  // their buffers: a line costs no allocation of ours.
  TxString group;  // the current group's private copy
  TxString key;
  TxString text;
  auto* const groupBytes = new char[kConfigLineBufferSize];
  groupBytes[0] = '\0';
  ImportNames names{&group, groupBytes, &key, nullptr, 0};
  ImportNames const* const outer = m_importNames;  // a store may import again
  bool inGroup = false;
  bool restOfCutLine = false;
  Tevrol::ULong lineNumber = 1;
  Tevrol::ULong length = 0;
  for (;;) {
    if constexpr (std::is_same<Stream, InputStreamBuffer>::value) {
      if (!ReadLine(stream, line, length)) break;
    } else if (!ReadLineFromFile(stream, line, kConfigLineBufferSize, length)) {
      break;
    }
    // A stream that gives no byte and code 0 ends with an empty piece.
    if (length == 0) break;
    char* const lineText = reinterpret_cast<char*>(line);
    if (raw != nullptr) std::memcpy(raw, lineText, length + 1);
    ConfigLine parsed;
    ParseConfigLine(lineText, length, inGroup, restOfCutLine, bytes, parsed);
    if (parsed.kind == ConfigLineKind::Group) {
      group = parsed.name;
      const std::size_t nameLength = strnlen(parsed.name, kConfigLineBufferSize - 1);
      std::memcpy(groupBytes, parsed.name, nameLength);
      groupBytes[nameLength] = '\0';
      names.groupSerial = ++m_groupSerial;
      inGroup = true;
    } else if (parsed.kind != ConfigLineKind::Ignored) {
      key = parsed.name;
      names.keyBytes = parsed.name;
      m_importNames = &names;
      switch (parsed.kind) {
        case ConfigLineKind::Text:
          text = parsed.text;
          StoreStringValue(group, key, text);
          break;
        case ConfigLineKind::Number:
          StoreNumericalValue(group, key, parsed.number);
          break;
        default:
          StoreByteArray(group, key, bytes, parsed.byteCount);
          break;
      }
      m_importNames = outer;
    }
    if (observer != nullptr) observer->Line(lineNumber, raw, length, parsed);
    restOfCutLine = line[length - 1] != '\n';
    if (!restOfCutLine) ++lineNumber;
  }
  if (observer != nullptr) {
    observer->End(lineNumber, reinterpret_cast<char*>(line), length);
  }
  delete[] groupBytes;
  delete[] raw;
  delete[] bytes;
  delete[] line;
}
