#ifndef TEVROL_WORKLOOP_TASK_H
#define TEVROL_WORKLOOP_TASK_H

#include "frame/TevrolExport.h"
#include "frame/TevrolTypes.h"

// The unit of work handed to a WorkLoop. One object may stand in a loop
// several times at once; each hand-over gets its own Execute and Dispose.
//
// Execute runs on the loop's thread with no lock of the loop held, so it may
// call every operation of the loop. Dispose ends one hand-over: after
// Execute, instead of it for a cancelled hand-over, or when a loop that never
// ran it is destroyed. The loop never deletes a Task; Dispose decides. An
// accepted task (non-zero queue id) must stay alive until its Dispose.
//
// The id names the kind of task: it is the address of the id provider's copy
// of the name, so GetFriendlyName and GetId are one word read two ways, and
// tasks built from the same name pointer share it.
class TEVROL_EXPORT Task {
 public:
  Task();  // named "no_name"
  explicit Task(char const* name);
  Task(Task const& other);
  Task& operator=(Task const& other);
  virtual void Execute() = 0;
  virtual void Dispose() = 0;
  virtual ~Task();
  virtual char const* GetFriendlyName() const;
  virtual Tevrol::Word GetId() const;

 private:
  Tevrol::Word m_id;
};

#endif
