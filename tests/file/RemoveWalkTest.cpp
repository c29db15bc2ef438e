// Remove, RemoveAll and Rename with overwrite against the recursive algorithm
// they replace (a model below), on generated trees and on trees deeper than a
// library thread's stack could recurse; and the stack each file operation
// needs at most.
#include <dirent.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iostream>
#include <mutex>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "FileTestSupport.h"
#include "file/File.h"
#include "file/FileOperations.h"
#include "file/FileOperationsImpl.h"
#include "file/FileSystem.h"
#include "file/HelperFunctions.h"
#include "file/PathConstants.h"
#include "file/PathHelper.h"
#include "workloop/Task.h"
#include "workloop/WorkLoop.h"

using filetest::T;
using Tevrol::File::ErrorCode;
using Tevrol::File::FileOperations;
using Tevrol::File::FileOperationsImpl;
using Tevrol::File::FileStatus;
using Tevrol::File::FindIterator;
using Tevrol::File::Get_questionmarkLeaf;
using Tevrol::File::Get_starLeaf;
using Tevrol::File::Path;

// The test binary is linked with --wrap for these two, so that the order in
// which the library lists folders and removes entries can be seen.
namespace {
std::mutex g_callsLock;
std::vector<std::string>* g_calls = nullptr;  // null: nothing is recorded

void Record(char const* what, char const* path) {
  std::lock_guard<std::mutex> guard(g_callsLock);
  if (g_calls != nullptr) g_calls->push_back(std::string(what) + " " + path);
}
}  // namespace

extern "C" {
int __real_remove(char const* path);
DIR* __real_opendir(char const* path);
int __wrap_remove(char const* path) {
  Record("remove", path);
  return __real_remove(path);
}
DIR* __wrap_opendir(char const* path) {
  Record("opendir", path);
  return __real_opendir(path);
}
}

namespace {

// The calls made while it lives, with `root` cut from the paths.
class CallLog {
 public:
  explicit CallLog(std::string root) : m_root(std::move(root)) {
    std::lock_guard<std::mutex> guard(g_callsLock);
    g_calls = &m_calls;
  }
  ~CallLog() { Stop(); }
  std::vector<std::string> Stop() {
    std::lock_guard<std::mutex> guard(g_callsLock);
    if (g_calls == &m_calls) g_calls = nullptr;
    std::vector<std::string> calls = m_calls;
    for (std::string& call : calls) {
      for (std::size_t at = call.find(m_root); at != std::string::npos; at = call.find(m_root)) {
        call.replace(at, m_root.size(), "<root>");
      }
    }
    return calls;
  }

 private:
  std::string m_root;
  std::vector<std::string> m_calls;
};

void Report(ErrorCode& error, ErrorCode::Code code) {
  error.code = code;
  error.text = NULLString;
}

// Remove and RemoveAll as they were before the walk: each called the other
// once per folder level.
struct RecursiveModel {
  static bool Remove(Path const& path, ErrorCode& error) {
    if (!path.IsAbsolute()) {
      Report(error, ErrorCode::NotAbsolute);
      return false;
    }
    if (Tevrol::File::PathHelper::IsDotDirectory(path)) return false;
    if (FileOperationsImpl::GetFileStatus(path) == FileStatus::StatusDirectory &&
        !FileOperationsImpl::IsSymbolicLink(path)) {
      RemoveAll(Path(path, Path(Get_starLeaf())), error);
    }
    return FileOperationsImpl::Remove(path, error);
  }
  static std::int32_t RemoveAll(Path const& path, ErrorCode& error) {
    if (!path.IsAbsolute()) {
      Report(error, ErrorCode::NotAbsolute);
      return 0;
    }
    TxString const leaf = path.GetLeaf();
    bool const wildcard = leaf.Contains(Get_starLeaf()) || leaf.Contains(Get_questionmarkLeaf());
    Path const base = wildcard ? path.GetParent() : path;
    std::int32_t removed = 0;
    for (FindIterator it = FileOperations::FindFiles(path, error); !(*it).IsEmpty(); ++it) {
      Path const entry = *it;
      if (entry.GetParent() != base) continue;
      if (Remove(entry, error)) ++removed;
    }
    return removed;
  }
  static bool Rename(Path const& source, Path const& destination, ErrorCode& error) {
    if (!FileOperationsImpl::GetFileStatus(destination).IsMissing() &&
        !Remove(destination, error)) {
      return false;
    }
    return FileOperationsImpl::Rename(source, destination, error);
  }
};

// The sanitizers change every frame and keep their own books of a stack.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif
#else
constexpr bool kSanitized = false;
#endif

// Under qemu the emulator's own use of a thread's stack makes the figure
// meaningless: there the operations only run.
#if defined(TEVROL_TEST_UNDER_EMULATOR)
constexpr bool kStackMeasured = false;
#else
constexpr bool kStackMeasured = !kSanitized;
#endif

// Runs fn on a thread of its own whose stack of `size` bytes is painted
// first; the bytes it used, counted from the top of that stack. Under a
// sanitizer the stack is the system's, and the result 0.
std::size_t RunOnStack(std::size_t size, std::function<void()> const& fn) {
  constexpr unsigned char kPaint = 0xA5;
  auto* const stack =
      kSanitized ? nullptr : static_cast<unsigned char*>(std::aligned_alloc(4096, size));
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  if (stack != nullptr) {
    std::memset(stack, kPaint, size);
    pthread_attr_setstack(&attributes, stack, size);
  } else {
    pthread_attr_setstacksize(&attributes, size);
  }
  pthread_t thread;
  int const created = pthread_create(
      &thread, &attributes,
      [](void* call) -> void* {
        (*static_cast<std::function<void()> const*>(call))();
        return nullptr;
      },
      const_cast<std::function<void()>*>(&fn));
  pthread_attr_destroy(&attributes);
  EXPECT_EQ(created, 0);
  if (created == 0) pthread_join(thread, nullptr);
  if (stack == nullptr) return 0;
  std::size_t untouched = 0;
  while (untouched < size && stack[untouched] == kPaint) ++untouched;
  std::free(stack);
  return size - untouched;
}

// Runs fn as a task of a work loop, on the loop's own thread and its stack
// of 64 KiB; returns once it ran.
void RunInWorkLoop(std::function<void()> fn) {
  struct Job : Task {
    explicit Job(std::function<void()> f) : call(std::move(f)) {}
    void Execute() override { call(); }
    void Dispose() override {}
    std::function<void()> call;
  } job(std::move(fn));
  WorkLoop* const loop = WorkLoop::CreateInstance();
  ASSERT_NE(loop->PerformTask(&job, WorkLoop::PriorityNormal), 0u);
  ASSERT_TRUE(loop->Run());
  WorkLoop::DeleteInstance(loop);  // waits for the drain, so job has run
}

// Names of a folder with whether each is a folder (not a link to one), sorted.
std::vector<std::pair<std::string, bool>> ReadNames(int fd) {
  std::vector<std::pair<std::string, bool>> names;
  DIR* const dir = fdopendir(dup(fd));
  if (dir == nullptr) return names;
  while (dirent const* entry = readdir(dir)) {
    std::string const name = entry->d_name;
    if (name == "." || name == "..") continue;
    struct stat info;
    bool const folder =
        fstatat(fd, entry->d_name, &info, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(info.st_mode);
    names.emplace_back(name, folder);
  }
  closedir(dir);
  std::sort(names.begin(), names.end());
  return names;
}

// Every entry below root, however deep: down with openat, up with "..", so
// paths beyond PATH_MAX work with two descriptors. Lists the relative paths
// (folders with a '/' behind), or removes everything, root included.
std::vector<std::string> WalkTree(std::string const& root, bool remove) {
  std::vector<std::string> listing;
  int fd = open(root.c_str(), O_RDONLY | O_DIRECTORY);
  if (fd < 0) return listing;
  struct Level {
    std::vector<std::pair<std::string, bool>> names;
    std::size_t next;
    std::string relative;
    std::string name;
  };
  std::vector<Level> levels{{ReadNames(fd), 0, "", ""}};
  while (!levels.empty()) {
    Level& top = levels.back();
    if (top.next < top.names.size()) {
      auto const [name, folder] = top.names[top.next++];
      std::string const relative = top.relative + "/" + name;
      listing.push_back(relative + (folder ? "/" : ""));
      int const child = folder ? openat(fd, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW) : -1;
      if (child >= 0) {
        close(fd);
        fd = child;
        levels.push_back({ReadNames(fd), 0, relative, name});
      } else if (remove) {
        unlinkat(fd, name.c_str(), 0);
      }
      continue;
    }
    std::string const name = top.name;
    levels.pop_back();
    if (levels.empty()) break;
    int const parent = openat(fd, "..", O_RDONLY | O_DIRECTORY);
    close(fd);
    fd = parent;
    if (remove) unlinkat(fd, name.c_str(), AT_REMOVEDIR);
  }
  close(fd);
  if (remove) rmdir(root.c_str());
  return listing;
}

// A chain of `depth` folders `name` below dir, each with a file "f".
void MakeChain(std::string const& dir, int depth, std::string const& name = "d") {
  int fd = open(dir.c_str(), O_RDONLY | O_DIRECTORY);
  ASSERT_GE(fd, 0);
  for (int level = 0; level < depth; ++level) {
    ASSERT_EQ(mkdirat(fd, name.c_str(), 0700), 0) << level;
    int const file = openat(fd, "f", O_WRONLY | O_CREAT, 0600);
    ASSERT_GE(file, 0) << level;
    close(file);
    int const child = openat(fd, name.c_str(), O_RDONLY | O_DIRECTORY);
    close(fd);
    ASSERT_GE(child, 0) << level;
    fd = child;
  }
  close(fd);
}

// What one call gave: its result or count, the record, the calls it made and
// what is left of the tree.
struct Outcome {
  std::int32_t result = -1;
  std::string error;
  std::vector<std::string> calls;
  std::vector<std::string> left;
};

// Both trees are built alike in two folders "a" and "b" of the test's
// folder; the model works on "a", the library on "b".
class RemoveWalkTest : public filetest::TempDirTest {
 protected:
  void TearDown() override {
    WalkTree(m_dir, true);  // deeper than remove_all can go
    TempDirTest::TearDown();
  }
  void MakeRoots() {
    for (char const* root : {"a", "b"}) ASSERT_EQ(mkdir(At(root).c_str(), 0700), 0);
  }
  // call(root) runs with the calls recorded; runOn runs it (inline, on a
  // large stack, in a work loop).
  Outcome Run(std::string const& root,
              std::function<std::int32_t(std::string const&, ErrorCode&)> const& call,
              std::function<void(std::function<void()>)> const& runOn) {
    Outcome outcome;
    ErrorCode error(ErrorCode::OtherError, TxString("preset"));
    CallLog log(At(root));
    runOn([&] { outcome.result = call(At(root), error); });
    outcome.calls = log.Stop();
    outcome.error = std::to_string(error.code) + " " + Str(error.text);
    outcome.left = WalkTree(At(root), false);
    return outcome;
  }
  void ExpectSame(Outcome const& model, Outcome const& walk) {
    EXPECT_EQ(walk.result, model.result);
    EXPECT_EQ(walk.error, model.error);
    EXPECT_EQ(walk.left, model.left);
    ASSERT_EQ(walk.calls.size(), model.calls.size());
    for (std::size_t i = 0; i < walk.calls.size(); ++i) {
      ASSERT_EQ(walk.calls[i], model.calls[i]) << "call " << i;
    }
  }
};

void Inline(std::function<void()> const& fn) {
  fn();
}

// The model recurses: deep trees need more than the main thread's 8 MiB
// under the sanitizers.
void OnLargeStack(std::function<void()> const& fn) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, std::size_t{256} << 20);
  pthread_t thread;
  int const created = pthread_create(
      &thread, &attributes,
      [](void* call) -> void* {
        (*static_cast<std::function<void()> const*>(call))();
        return nullptr;
      },
      const_cast<std::function<void()>*>(&fn));
  pthread_attr_destroy(&attributes);
  ASSERT_EQ(created, 0);
  pthread_join(thread, nullptr);
}

// One operation, as the library and as the model do it: Remove, RemoveAll
// with a pattern, and Rename with overwrite onto the tree.
struct Operation {
  char const* name;
  char const* leaf;  // appended to "<root>/t"
  int kind;          // 0 Remove, 1 RemoveAll, 2 Rename onto it
};

std::int32_t Library(Operation const& op, std::string const& root, ErrorCode& error) {
  Path const tree = P(root + "/t" + op.leaf);
  switch (op.kind) {
    case 0:
      return FileOperations::Remove(tree, error);
    case 1:
      return FileOperations::RemoveAll(tree, error);
    default:
      return FileOperations::Rename(P(root + "/new"), tree, true, error);
  }
}

std::int32_t Model(Operation const& op, std::string const& root, ErrorCode& error) {
  Path const tree = P(root + "/t" + op.leaf);
  switch (op.kind) {
    case 0:
      return RecursiveModel::Remove(tree, error);
    case 1:
      return RecursiveModel::RemoveAll(tree, error);
    default:
      return RecursiveModel::Rename(P(root + "/new"), tree, error);
  }
}

constexpr Operation kOperations[] = {
    {"Remove", "", 0},          {"Remove dot", "/.", 0},         {"RemoveAll", "", 1},
    {"RemoveAll *", "/*", 1},   {"RemoveAll ?*", "/?*", 1},      {"RemoveAll [ab]*", "/[ab]*", 1},
    {"RemoveAll x*", "/x*", 1}, {"Rename onto the tree", "", 2},
};

// Random trees of files, folders, links (to a folder outside, to a folder
// inside, dangling) and names that Path changes: " x" names "x", "a:b", ":",
// " " and "\\" name the folder itself, "..\\v" and "x\\y" name something
// elsewhere. Each operation must list, remove and report as the model does.
TEST_F(RemoveWalkTest, MatchesTheRecursiveAlgorithmOnGeneratedTrees) {
  static char const* const names[] = {"a",   "b",  "x",        " x",   "x ",  "a:b", ":",
                                      " ",   "\\", "..\\v",    "x\\y", "[a]", "*",   "?",
                                      "a.b", ".h", "\xc3\xa4", "ab",   "xx",  "b b"};
  std::mt19937 random(4711);
  for (int round = 0; round < 12; ++round) {
    for (Operation const& op : kOperations) {
      SCOPED_TRACE(std::to_string(round) + " " + op.name);
      MakeRoots();
      // One description, built in both roots.
      std::vector<std::pair<std::string, int>> entries;  // relative path, kind
      std::function<void(std::string const&, int)> grow = [&](std::string const& folder,
                                                              int depth) {
        for (int n = static_cast<int>(random() % 6); n > 0; --n) {
          std::string const path = folder + "/" + names[random() % std::size(names)];
          if (std::any_of(entries.begin(), entries.end(),
                          [&](auto const& e) { return e.first == path; })) {
            continue;
          }
          int const kind = depth < 4 ? static_cast<int>(random() % 5) : 1;
          entries.emplace_back(path, kind);
          if (kind == 0) grow(path, depth + 1);
        }
      };
      entries.emplace_back("/t", 0);
      grow("/t", 0);
      for (char const* root : {"a", "b"}) {
        std::string const base = At(root);
        ASSERT_EQ(mkdir((base + "/out").c_str(), 0700), 0);
        filetest::Write(base + "/out/keep", "x");
        filetest::Write(base + "/new", "new");
        for (auto const& [path, kind] : entries) {
          std::string const full = base + path;
          switch (kind) {
            case 0:
              ASSERT_EQ(mkdir(full.c_str(), 0700), 0) << full;
              break;
            case 2:
              ASSERT_EQ(symlink((base + "/out").c_str(), full.c_str()), 0);
              break;
            case 3:
              ASSERT_EQ(symlink((base + "/t").c_str(), full.c_str()), 0);
              break;
            case 4:
              ASSERT_EQ(symlink((base + "/none").c_str(), full.c_str()), 0);
              break;
            default:
              filetest::Write(full, "x");
          }
        }
      }
      Outcome const model = Run(
          "a", [&](std::string const& r, ErrorCode& e) { return Model(op, r, e); }, Inline);
      Outcome const walk = Run(
          "b", [&](std::string const& r, ErrorCode& e) { return Library(op, r, e); }, Inline);
      ExpectSame(model, walk);
      EXPECT_TRUE(filetest::Exists(At("b/out/keep")));
      WalkTree(At("a"), true);
      WalkTree(At("b"), true);
      if (HasFatalFailure()) return;
    }
  }
}

// A library thread has 64 KiB of stack. Chains of folders 140 levels deep
// (a path of about 300 bytes) used to overflow it. 300 levels of 19-byte
// names pass the path limit: the folders beyond it stay, and so do their
// parents (ENOTEMPTY), just as the model says on a stack large enough for
// its recursion.
TEST_F(RemoveWalkTest, DeepTreesGoFromAWorkLoopTaskAsTheModelSays) {
  std::string const n(19, 'n');
  struct Case {
    int depth;
    std::string name;
    Operation op;
    std::int32_t result;
    std::vector<std::string> left;  // past the limit: the top of what is left
  } const cases[] = {
      {140, "d", kOperations[0], 1, {"/new"}},
      {140, "d", kOperations[2], 2, {"/new", "/t/"}},
      {140, "d", kOperations[3], 2, {"/new", "/t/"}},
      {140, "d", kOperations[7], 1, {"/t"}},
      {300, n, kOperations[0], 0, {"/new", "/t/", "/t/" + n + "/"}},
      {300, n, kOperations[2], 1, {"/new", "/t/", "/t/" + n + "/"}},
      {300, n, kOperations[7], 0, {"/new", "/t/", "/t/" + n + "/"}},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(std::to_string(c.depth) + " " + c.op.name);
    MakeRoots();
    for (char const* root : {"a", "b"}) {
      ASSERT_EQ(mkdir(At(std::string(root) + "/t").c_str(), 0700), 0);
      MakeChain(At(std::string(root) + "/t"), c.depth, c.name);
      filetest::Write(At(std::string(root) + "/new"), "new");
    }
    Outcome const model = Run(
        "a", [&](std::string const& r, ErrorCode& e) { return Model(c.op, r, e); }, OnLargeStack);
    Outcome const walk = Run(
        "b", [&](std::string const& r, ErrorCode& e) { return Library(c.op, r, e); },
        [](std::function<void()> const& fn) { RunInWorkLoop(fn); });
    ExpectSame(model, walk);
    EXPECT_EQ(walk.result, c.result);
    if (c.name == "d") {
      EXPECT_EQ(walk.left, c.left);
    } else {
      ASSERT_GT(walk.left.size(), c.left.size());
      EXPECT_EQ(std::vector<std::string>(walk.left.begin(), walk.left.begin() + c.left.size()),
                c.left);
      if (c.op.kind != 1) {
        EXPECT_EQ(walk.error, std::to_string(ErrorCode::InUse) + " POSIX error " +
                                  std::to_string(ENOTEMPTY) + " from ");
      }
    }
    WalkTree(At("a"), true);
    WalkTree(At("b"), true);
    if (HasFatalFailure()) return;
  }
}

// The most stack each file operation takes, beyond what a thread takes to
// start, with the input that needs the most: deep trees, the longest
// patterns (runs of '*', nested groups, brackets), the longest paths. Each
// must stay below 32 KiB, half a library thread's stack. Printed, so that a
// run shows the figures; under a sanitizer the operations only run.
TEST_F(RemoveWalkTest, EveryFileOperationNeedsLessThan32KiBOfStack) {
  constexpr std::size_t kLimit = 32 * 1024;
  constexpr std::size_t kStack = std::size_t{1} << 20;
  std::size_t const start = RunOnStack(kStack, [] {});
  std::string const deep = At("deep");
  std::string const longPath = At(std::string(1500, 'p'));
  std::string stars(1100, '*'), nested;
  for (int i = 0; i < 255; ++i) nested += "\\(";
  nested += "*";
  for (int i = 0; i < 255; ++i) nested += "\\)";
  std::string brackets;
  while (brackets.size() < 1000) brackets += "[a-z]*";
  filetest::Write(At("file"), std::string(5000, 'x'));
  ASSERT_EQ(mkdir(deep.c_str(), 0700), 0);
  for (std::string const name : {"a.txt", "b.log", "abc", "x"}) filetest::Write(At(name), name);

  ErrorCode error;
  struct Row {
    char const* what;
    std::function<void()> call;
  } const rows[] = {
      {"Remove of a chain 300 deep", [&] { FileOperations::Remove(P(deep), error); }},
      {"RemoveAll of a chain 300 deep", [&] { FileOperations::RemoveAll(P(deep), error); }},
      {"Rename onto a chain 300 deep",
       [&] { FileOperations::Rename(P(At("file")), P(deep), true, error); }},
      {"FindFiles *", [&] { FileOperations::FindFiles(P(At("*")), error); }},
      {"FindFiles, 1100 '*'", [&] { FileOperations::FindFiles(P(At(stars)), error); }},
      {"FindFiles, brackets", [&] { FileOperations::FindFiles(P(At(brackets)), error); }},
      {"FileSystem listing, 1100 '*'",
       [&] {
         FileSystem browser;
         TxString const pattern(At(stars).c_str());
         FileSystem::ReleaseEntry(browser.GetFirstEntry(&pattern));
       }},
      {"FileSystem listing, 255 nested groups",
       [&] {
         FileSystem browser;
         TxString const pattern(At(nested).c_str());
         FileSystem::ReleaseEntry(browser.GetFirstEntry(&pattern));
       }},
      {"FileSystem listing, backslashes",
       [&] {
         FileSystem browser;
         TxString const pattern(At("\\(a*\\)\\{3\\}\\1*").c_str());
         DirEntry* entry = browser.GetFirstEntry(&pattern);
         while (entry != nullptr) {
           FileSystem::ReleaseEntry(entry);
           entry = browser.GetNextEntry();
         }
       }},
      {"CopyFileEntry",
       [&] { FileOperations::CopyFileEntry(P(At("file")), P(At("copy")), 1, error); }},
      {"CreateDir of a long path", [&] { FileOperations::CreateDir(P(longPath + "/a/b"), error); }},
      {"FileSystem::CreateDir", [&] { FileSystem().CreateDir(T(At("fs/a/b"))); }},
      {"FileSystem::CopyFile", [&] { FileSystem().CopyFile(T(At("file")), T(At("copy2"))); }},
      {"FileSystem::CopyEntry", [&] { FileSystem().CopyEntry(T(At("file")), T(At("copy3"))); }},
      {"FileSystem::FindEntry",
       [&] { FileSystem::ReleaseEntry(FileSystem().FindEntry(T(At("fil?")))); }},
      {"File open, write, read",
       [&] {
         File file(T(At("file")), O_RDWR, 0, 0, 0, false);
         unsigned char bytes[16] = {};
         Tevrol::ULong count = 0;
         file.Open();
         file.Write(bytes, sizeof bytes, &count);
         file.Read(bytes, sizeof bytes, &count);
         file.Close();
       }},
      {"Path of 1500 characters", [&] { Path const p(T(longPath + "/" + longPath)); }},
      {"HelperFunctions",
       [&] {
         HelperFunctions::GetCurrentWorkingDirectory();
         HelperFunctions::GetExecutableFolder();
         HelperFunctions::GetExecutableNameWithFolder();
       }},
  };
  for (auto const& row : rows) {
    if (std::string(row.what).find("chain") != std::string::npos) {
      unlink(deep.c_str());
      WalkTree(deep, true);
      ASSERT_EQ(mkdir(deep.c_str(), 0700), 0);
      MakeChain(deep, 300);
    }
    std::size_t const used = RunOnStack(kStack, row.call) - start;
    if (kStackMeasured) {
      std::cout << "stack: " << row.what << ": " << used << " bytes\n";
      EXPECT_LT(used, kLimit) << row.what;
    }
  }
}

}  // namespace
