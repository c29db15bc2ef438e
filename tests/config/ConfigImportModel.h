#ifndef TEVROL_TESTS_CONFIG_CONFIGIMPORTMODEL_H
#define TEVROL_TESTS_CONFIG_CONFIGIMPORTMODEL_H

#include <string>

#include "config/ConfigLineParser.h"
#include "config/ConfigSystemImpl.h"
#include "file/InputStream.h"

// The plain reader that ConfigSystemImpl::Import is measured and checked
// against: byte by byte through the stream's virtual Read, every line parsed
// with sscanf, fresh texts for every store call. For tests, the fuzz target
// and the benchmark only; not part of the library.
namespace ConfigImportModel {

// ParseConfigLine as it was first written, with sscanf's "%8x" and "%2x".
void ParseLine(char* line, Tevrol::ULong length, bool inGroup, bool restOfCutLine,
               unsigned char* bytes, ConfigLine& result);

// ConfigSystemImpl::ReadLineFromFile, one virtual Read a byte.
bool ReadLine(InputStream& stream, unsigned char* buffer, Tevrol::ULong bufferSize,
              Tevrol::ULong& length);

// ConfigSystemImpl::ImportLines and ImportFile, storing through the
// system's virtual store operations.
void ImportLines(ConfigSystemImpl& system, InputStream& stream, ConfigImportObserver* observer);
void ImportFile(ConfigSystemImpl& system, ConfigImportObserver* observer);

// What an import shows to the outside, written down as text, to compare one
// reader with the other: the store calls a derived system sees, in order
// and with their arguments, and every call of the observer.
class RecordingSystem : public ConfigSystemImpl {
 public:
  bool StoreNumericalValue(TxString const& group, TxString const& key, Tevrol::Long value) override;
  bool StoreStringValue(TxString const& group, TxString const& key, TxString const& value) override;
  bool StoreByteArray(TxString const& group, TxString const& key, unsigned char* data,
                      Tevrol::ULong length) override;
  std::string calls;
};

class RecordingObserver : public ConfigImportObserver {
 public:
  void FileRead(char const* path) override;
  void OpenFailed(char const* path, int error) override;
  void Line(Tevrol::ULong lineNumber, char const* raw, Tevrol::ULong length,
            ConfigLine const& parsed) override;
  void End(Tevrol::ULong lineNumber, char const* raw, Tevrol::ULong length) override;
  void ReadFailed(int error) override;
  std::string calls;
};

}  // namespace ConfigImportModel

#endif
