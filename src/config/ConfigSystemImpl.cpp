#include "config/ConfigSystemImpl.h"

#include <cerrno>
#include <cstring>

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
      m_exportTimerRunning(false) {}

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
  KeyMap* keys = nullptr;
  {
    TxByteArray const name = group.ToLatin1();
    GroupMap::CEntry* const groupEntry = m_groups.Lookup(name);
    if (groupEntry != nullptr) {
      keys = groupEntry->m_value;
    } else {
      char* copy = nullptr;
      StrFunctionsPI::SetStringData(copy, name);
      keys = new KeyMap(17, kMapBlockSize);
      m_groups[copy] = keys;
    }
  }
  TxByteArray const name = key.ToLatin1();
  KeyMap::CEntry* const keyEntry = keys->Lookup(name);
  if (keyEntry != nullptr) return keyEntry->m_value;
  auto* const container = new ConfigKeyDataContainer();
  container->SetKeyName(name);
  // The container's own copy of the name is the map's key.
  (*keys)[container->GetKeyName()] = container;
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

void ConfigSystemImpl::ImportLines(InputStream& stream, ConfigImportObserver* observer) {
  auto* const line = new unsigned char[kConfigLineBufferSize];
  // One collecting buffer for all byte lists of the file.
  auto* const bytes = new unsigned char[kConfigLineBufferSize];
  char* const raw = observer != nullptr ? new char[kConfigLineBufferSize] : nullptr;
  TxString group;  // the current group's private copy
  bool inGroup = false;
  bool restOfCutLine = false;
  Tevrol::ULong lineNumber = 1;
  Tevrol::ULong length = 0;
  while (ReadLineFromFile(stream, line, kConfigLineBufferSize, length)) {
    // A stream that gives no byte and code 0 ends with an empty piece.
    if (length == 0) break;
    char* const text = reinterpret_cast<char*>(line);
    if (raw != nullptr) std::memcpy(raw, text, length + 1);
    ConfigLine parsed;
    ParseConfigLine(text, length, inGroup, restOfCutLine, bytes, parsed);
    switch (parsed.kind) {
      case ConfigLineKind::Group:
        group = parsed.name;
        inGroup = true;
        break;
      case ConfigLineKind::Text:
        StoreStringValue(group, TxString(parsed.name), TxString(parsed.text));
        break;
      case ConfigLineKind::Number:
        StoreNumericalValue(group, TxString(parsed.name), parsed.number);
        break;
      case ConfigLineKind::Bytes:
        StoreByteArray(group, TxString(parsed.name), bytes, parsed.byteCount);
        break;
      case ConfigLineKind::Ignored:
        break;
    }
    if (observer != nullptr) observer->Line(lineNumber, raw, length, parsed);
    restOfCutLine = line[length - 1] != '\n';
    if (!restOfCutLine) ++lineNumber;
  }
  if (observer != nullptr) {
    observer->End(lineNumber, reinterpret_cast<char*>(line), length);
  }
  delete[] raw;
  delete[] bytes;
  delete[] line;
}
