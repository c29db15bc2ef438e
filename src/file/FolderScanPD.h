#ifndef TEVROL_FILE_FOLDERSCANPD_H
#define TEVROL_FILE_FOLDERSCANPD_H

// Platform layer of the folder listings of the browser and the search: a
// folder read name by name, and a wildcard filter compiled as a regular
// expression without regard to case. Internal, not installed.
class FolderScanPD {
 public:
  FolderScanPD();
  ~FolderScanPD();
  FolderScanPD(FolderScanPD const&) = delete;
  FolderScanPD& operator=(FolderScanPD const&) = delete;

  // Compiles an expression that TranslateWildcard made, replacing the filter
  // before. False when it does not compile (or no memory is left): there is
  // then no filter.
  bool SetFilter(char const* expression);
  bool HasFilter() const;
  // The filter matches name; call only with a filter.
  bool Matches(char const* name) const;

  // Opens folder for reading, closing a listing still open; false when it
  // cannot be opened.
  bool Open(char const* folder);
  bool IsOpen() const;
  // The next name, "." and ".." included, or null at the end. Valid until the
  // next call of Next or Close.
  char const* Next();
  void Close();

 private:
  struct State;
  State* m_state;  // made on first use
  bool Made();
};

#endif
