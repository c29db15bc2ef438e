#ifndef TEVROL_TESTS_FILE_UNPRIVILEGEDCHILD_H
#define TEVROL_TESTS_FILE_UNPRIVILEGEDCHILD_H

#include <grp.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

// Tests run as root, where every permission check passes. To see a permission
// failure, run the code in a forked child that has dropped to an unprivileged
// user first. Folders from mkdtemp are mode 0700: open them up (chmod) before
// the child has to reach into them.

// User and group the child drops to ("nobody" on Debian).
constexpr uid_t kUnprivilegedId = 65534;
// What RunUnprivileged returns when it could not run the callable as that user
// (fork, a step of the drop or waitpid failed) or the child did not exit
// normally (a signal, a crash). Never a valid exit status.
constexpr int kUnprivilegedChildFailed = -1;

// Forks; the child calls setgroups, setgid and setuid (65534, in that order),
// runs fn() and leaves with _exit(result & 0xFF), so no atexit handler or
// static destructor of the test process runs twice. The parent waits and
// returns the child's exit status (0..255), or kUnprivilegedChildFailed.
// fn returns int; gtest assertions inside it do not reach the parent, so
// report through the result (e.g. 0 for "as expected", else a code that tells
// what went wrong). Under ThreadSanitizer fn must start no thread.
template <typename Fn>
int RunUnprivileged(Fn&& fn) {
  int ready[2];
  if (pipe(ready) != 0) return kUnprivilegedChildFailed;
  pid_t const pid = fork();
  if (pid < 0) {
    close(ready[0]);
    close(ready[1]);
    return kUnprivilegedChildFailed;
  }
  if (pid == 0) {
    close(ready[0]);
    if (setgroups(0, nullptr) != 0 || setgid(kUnprivilegedId) != 0 ||
        setuid(kUnprivilegedId) != 0) {
      _exit(1);  // no byte on the pipe: the parent reports the failed drop
    }
    char const ok = 1;
    ssize_t const sent = write(ready[1], &ok, 1);
    close(ready[1]);
    if (sent != 1) _exit(1);
    _exit(static_cast<int>(fn()) & 0xFF);
  }
  close(ready[1]);
  char ok = 0;
  ssize_t got;
  do {
    got = read(ready[0], &ok, 1);
  } while (got < 0 && errno == EINTR);
  close(ready[0]);
  int status = 0;
  pid_t waited;
  do {
    waited = waitpid(pid, &status, 0);
  } while (waited < 0 && errno == EINTR);
  if (waited != pid || got != 1 || !WIFEXITED(status)) return kUnprivilegedChildFailed;
  return WEXITSTATUS(status);
}

#endif
