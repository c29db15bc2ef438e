#ifndef TEVROL_CONFIG_CONFIGSYSTEMIMPL_H
#define TEVROL_CONFIG_CONFIGSYSTEMIMPL_H

#include <cstdint>

#include "config/ConfigKeyDataContainer.h"
#include "config/ConfigLineParser.h"
#include "config/ConfigSystem.h"
#include "file/InputStream.h"
#include "frame/TevrolTypes.h"
#include "frame/containers/PIAlloc.h"
#include "frame/containers/PIMap.h"
#include "frame/containers/PIObjectExtL.h"
#include "frame/text/TxString.h"
#include "threads/CriticalSection.h"

class InputStreamBuffer;

// The store of one configuration system: groups of keys in two levels of
// maps (17 buckets each), names as Latin-1 bytes.
//
// m_dirty and m_exportTimerRunning are read and written by the store
// operations on the caller's thread and by Tick on the timer thread. Both are
// guarded by m_lock, which a store holds from setting m_dirty until the timer
// is started (NewTimer included) and Tick holds from its test of m_dirty
// until both flags are cleared: each is one step for the other, so a change
// is never lost between Tick's Export and its clearing, and a timer that is
// started never runs out unseen. Export is called with m_lock held.
// Shutdown calls RemoveTimer whatever the flag says, so that no Tick is left
// running when it returns, and not under m_lock, which that Tick needs.
// Lock order: the timer's m_callbackLock, m_lock, the timer's m_listLock.
class ConfigSystemImpl : public ConfigSystem {
 public:
  using KeyMap = PIMap<char const*, char const*, ConfigKeyDataContainer*, ConfigKeyDataContainer*,
                       NullLocking, PIAlloc<PICommonAllocDescriptors::PIMap, PIDefaultAllocator>>;
  using GroupMap = PIMap<char const*, char const*, KeyMap*, KeyMap*, NullLocking,
                         PIAlloc<PICommonAllocDescriptors::PIMap, PIDefaultAllocator>>;

  ConfigSystemImpl();
  // Destroys the members only: what the store holds is freed by Shutdown,
  // which must come first, as must the end of a registered timer.
  ~ConfigSystemImpl() override;
  ConfigSystemImpl(ConfigSystemImpl const&) = delete;
  ConfigSystemImpl& operator=(ConfigSystemImpl const&) = delete;

  // Export if a change is pending, then the end of the change cycle.
  void Tick() override;

  bool RetrieveNumericalValue(TxString const& group, TxString const& key, Tevrol::Long& value,
                              Tevrol::Long defaultValue) override;
  bool StoreNumericalValue(TxString const& group, TxString const& key, Tevrol::Long value) override;
  bool RetrieveStringValue(TxString const& group, TxString const& key, TxString& value,
                           TxString const& defaultValue) override;
  bool StoreStringValue(TxString const& group, TxString const& key, TxString const& value) override;
  bool RetrieveByteArray(TxString const& group, TxString const& key, unsigned char* buffer,
                         Tevrol::ULong bufferSize, Tevrol::ULong& length) override;
  bool RetrieveByteArray(TxString const& group, TxString const& key, unsigned char*& data,
                         Tevrol::ULong& length, unsigned char* defaultData,
                         Tevrol::ULong defaultLength) override;
  bool StoreByteArray(TxString const& group, TxString const& key, unsigned char* data,
                      Tevrol::ULong length) override;
  bool DeleteValue(TxString const& group, TxString const& key) override;
  TxString const& GetPersistentStorageFolder() const override { return m_persistentStorageFolder; }
  void SetPersistentStorageFolder(TxString const& folder) override;
  TxString const& GetAppName() const override { return m_appName; }
  void SetAppName(TxString const& name) override;
  void EnablePersistence() override { m_persistenceEnabled = true; }
  void DisablePersistence() override { m_persistenceEnabled = false; }
  void Flush() override;
  ConfigKeyDataContainer* GetKeyDataContainer(TxString const& group, TxString const& key) override;
  ConfigKeyDataContainer* CreateKeyDataContainer(TxString const& group,
                                                 TxString const& key) override;
  Tevrol::Long Export() override { return 0; }
  Tevrol::Long Import() override;
  void Shutdown() override;

  // No enumeration of keys: false.
  virtual bool GetNextKey(TxString const& group, TxString& key);
  // Registers with the timer service unless a timer runs already.
  virtual void StartExportTimer();
  virtual void SetAppFolder(TxString folder);

  // Does nothing; true. A group comes with its first key.
  bool CreateGroup(TxString const& group);
  bool GetFirstKey(TxString const& group, TxString& key);
  // One line into buffer, its 0x0A included, followed by a zero byte; at
  // most bufferSize - 1 bytes. False when the stream gives a code other
  // than 0 (at the end of a file: bytes without a line end are no line).
  bool ReadLineFromFile(InputStream& stream, unsigned char* buffer, Tevrol::ULong bufferSize,
                        Tevrol::ULong& length);
  // Does nothing: the paths are built by each Import.
  void SetupFilePath() {}

  // Import, reporting to `observer` (may be null) how every line was taken.
  void ImportFile(ConfigImportObserver* observer);
  // The lines of `stream` into the store, as Import reads an opened file:
  // one byte a Read. From an InputStreamBuffer the bytes it holds are taken
  // inline, without its virtual Read, which is called only to refill it.
  void ImportLines(InputStream& stream, ConfigImportObserver* observer);
  void ImportLines(InputStreamBuffer& stream, ConfigImportObserver* observer);
  // Calls visit for every group (value null for an empty group) and every
  // key, group by group in map order. For the configuration tool and tests.
  template <class Visit>
  void WalkStore(Visit visit);
  // Both flags, read together under m_lock. For tests.
  void GetFlagsForTesting(bool& dirty, bool& exportTimerRunning);

 private:
  // The texts that ReadLines hands to the store operations, with their
  // bytes, so that the store need not convert them back when they reach
  // CreateKeyDataContainer unchanged (the same objects).
  struct ImportNames {
    TxString const* group;
    char const* groupBytes;
    TxString const* key;
    char const* keyBytes;
    std::uint64_t groupSerial;  // new for every header a ReadLines reads
  };

  // With a changed value: the start of the change cycle.
  void Changed();
  template <class Stream>
  void ReadLines(Stream& stream, ConfigImportObserver* observer);
  // CreateKeyDataContainer by the names' Latin-1 bytes; groupSerial from
  // ImportNames, 0 for other callers.
  ConfigKeyDataContainer* FindOrCreateKey(char const* group, char const* key,
                                          std::uint64_t groupSerial);

  TxString m_persistentStorageFolder;
  TxString m_appName;
  TxString m_appFolder;
  bool m_persistenceEnabled;
  GroupMap m_groups;
  bool m_dirty;               // guarded by m_lock
  bool m_exportTimerRunning;  // guarded by m_lock
  CriticalSection m_lock;     // guards the two flags; taken by nothing else
  // The group found or made last: an import stores its keys group by group.
  // Both null while unknown; groups go only with Shutdown, which clears them.
  char const* m_lastGroupName;  // the map's own copy
  KeyMap* m_lastGroupKeys;
  // The import header the last group was found for (0: another caller), so
  // that its keys need not even compare the name; the last serial given.
  std::uint64_t m_lastGroupSerial;
  std::uint64_t m_groupSerial;
  ImportNames const* m_importNames;  // set by ReadLines around each store; else null
};

template <class Visit>
void ConfigSystemImpl::WalkStore(Visit visit) {
  m_groups.Rewind();
  if (m_groups.m_nextEntry == nullptr) return;
  char const* group = nullptr;
  KeyMap* keys = nullptr;
  for (bool more = true; more;) {
    more = m_groups.GetNextEntry(group, keys);
    if (keys == nullptr || keys->GetCount() == 0) {
      visit(group, static_cast<ConfigKeyDataContainer*>(nullptr));
      continue;
    }
    keys->Rewind();
    char const* key = nullptr;
    ConfigKeyDataContainer* value = nullptr;
    for (bool moreKeys = true; moreKeys;) {
      moreKeys = keys->GetNextEntry(key, value);
      visit(group, value);
    }
  }
}

#endif
