#ifndef TEVROL_CONFIG_CONFIGSYSTEM_H
#define TEVROL_CONFIG_CONFIGSYSTEM_H

#include "config/ConfigKeyDataContainer.h"
#include "frame/TevrolExport.h"
#include "frame/TevrolTypes.h"
#include "frame/text/TxString.h"
#include "timer/TimerContext.h"

// A named configuration store (ConfigSystemManager::GetConfigSystem): groups
// of keys, each key holding a number, a text or a byte array. Names are
// compared as their Latin-1 bytes, case-sensitive.
//
// - Import fills the store from "<folder>/config.ini", or, only if that
//   cannot be opened, from "<folder>/config2.ini"; it adds and never clears.
//   Nothing is ever written back: Export does nothing, so changes live in
//   memory until the process ends.
// - A change starts a one-shot timer (10000 ms unless SetIntervall was used)
//   whose Tick runs on the timer thread and ends the change cycle; later
//   changes do not prolong it.
// - The store has no lock: a caller that shares one system between threads
//   serialises its calls. Tick may run on the timer thread at any time.
// - A Retrieve for a key of another kind looks like a missing key: the
//   default stays. A store over another kind changes the kind.
// - The system belongs to the manager; never delete it.
class TEVROL_EXPORT ConfigSystem : public TimerContext {
 public:
  ConfigSystem() : TimerContext(10000, false) {}

  // value is set to defaultValue first, then overwritten from the key.
  virtual bool RetrieveNumericalValue(TxString const& group, TxString const& key,
                                      Tevrol::Long& value, Tevrol::Long defaultValue) = 0;
  // The stores make the group and key when missing and give true.
  virtual bool StoreNumericalValue(TxString const& group, TxString const& key,
                                   Tevrol::Long value) = 0;
  virtual bool RetrieveStringValue(TxString const& group, TxString const& key, TxString& value,
                                   TxString const& defaultValue) = 0;
  virtual bool StoreStringValue(TxString const& group, TxString const& key,
                                TxString const& value) = 0;
  // Copies as many bytes as fit into buffer and sets length to that number
  // (0 on false): a longer value is cut without a failure.
  virtual bool RetrieveByteArray(TxString const& group, TxString const& key, unsigned char* buffer,
                                 Tevrol::ULong bufferSize, Tevrol::ULong& length) = 0;
  // On true data is a new buffer (array new) that the caller deletes; on
  // false data and length are the defaults, not copied.
  virtual bool RetrieveByteArray(TxString const& group, TxString const& key, unsigned char*& data,
                                 Tevrol::ULong& length, unsigned char* defaultData,
                                 Tevrol::ULong defaultLength) = 0;
  // The bytes are copied. Every byte array store counts as a change.
  virtual bool StoreByteArray(TxString const& group, TxString const& key, unsigned char* data,
                              Tevrol::ULong length) = 0;
  // False when the group or key is missing. The group stays, also empty.
  virtual bool DeleteValue(TxString const& group, TxString const& key) = 0;
  virtual TxString const& GetPersistentStorageFolder() const = 0;
  // The folder of the configuration files; a relative folder is taken
  // relative to the working directory. Empty until set, which makes Import
  // look at "/config.ini".
  virtual void SetPersistentStorageFolder(TxString const& folder) = 0;
  virtual TxString const& GetAppName() const = 0;
  virtual void SetAppName(TxString const& name) = 0;
  // Kept as a flag that nothing reads.
  virtual void EnablePersistence() = 0;
  virtual void DisablePersistence() = 0;
  // Ends a pending change: Export if there is one. The timer runs out all
  // the same.
  virtual void Flush() = 0;
  // The container of a key, or null; creates nothing. Writing through it is
  // no change of the store (no timer).
  virtual ConfigKeyDataContainer* GetKeyDataContainer(TxString const& group,
                                                      TxString const& key) = 0;
  // As GetKeyDataContainer, but makes the group and key (kind 0) if missing.
  virtual ConfigKeyDataContainer* CreateKeyDataContainer(TxString const& group,
                                                         TxString const& key) = 0;
  // Does nothing; 0.
  virtual Tevrol::Long Export() = 0;
  // 0 always; success shows only in the store. Lines that do not fit the
  // format are skipped without a report (tools/ lists them).
  virtual Tevrol::Long Import() = 0;
  // Empties the store and takes the system out of the timer service,
  // waiting for a running Tick. The system stays usable, empty.
  virtual void Shutdown() = 0;
};

#endif
