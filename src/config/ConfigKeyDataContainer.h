#ifndef TEVROL_CONFIG_CONFIGKEYDATACONTAINER_H
#define TEVROL_CONFIG_CONFIGKEYDATACONTAINER_H

#include "frame/TevrolExport.h"
#include "frame/TevrolTypes.h"
#include "frame/text/TxString.h"

// The value of one configuration key: a number, a text or a byte array, of
// the kind of its last store (0 while nothing was stored). The kinds share no
// storage: a number stored over a text leaves the text behind, unreachable.
// A container belongs to its configuration system; a pointer to it is good
// until that key is deleted or the system shut down.
class TEVROL_EXPORT ConfigKeyDataContainer {
 public:
  enum ValueKind : Tevrol::Long { None = 0, Numerical = 1, String = 2, ByteArray = 3 };

  ConfigKeyDataContainer();
  virtual ~ConfigKeyDataContainer();
  ConfigKeyDataContainer(ConfigKeyDataContainer const&) = delete;
  ConfigKeyDataContainer& operator=(ConfigKeyDataContainer const&) = delete;

  // The getters give false, and leave their arguments alone, for another kind.
  bool GetNumericalValue(Tevrol::Long& value);
  bool GetStringValue(TxString& value);
  // The internal buffer, not a copy.
  bool GetDataChunk(unsigned char*& data, Tevrol::ULong& size);

  // The setters say whether the stored value changed. A text stored over an
  // empty text always counts as a change, and so does every byte array, also
  // with equal contents.
  bool SetNumericalValue(Tevrol::Long value);
  bool SetStringValue(TxString const& value);
  bool SetDataChunk(unsigned char* data, Tevrol::ULong size);

  Tevrol::Long GetValueKind() const { return m_valueKind; }
  // The owner's: the key name, the text of the key in its group's map.
  TEVROL_INTERNAL char const* GetKeyName() const { return m_keyName; }
  TEVROL_INTERNAL void SetKeyName(char const* name);

 private:
  Tevrol::Long m_numericalValue;
  TxString m_stringValue;
  unsigned char* m_dataChunk;  // owned, array new
  Tevrol::ULong m_dataChunkSize;
  Tevrol::Long m_valueKind;  // ValueKind
  char* m_keyName;           // owned, StrFunctionsPI::StrFree
};

#endif
