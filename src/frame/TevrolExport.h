#ifndef TEVROL_FRAME_TEVROLEXPORT_H
#define TEVROL_FRAME_TEVROLEXPORT_H

// The one export macro. The library is built with hidden visibility; every
// class and function of the public interface carries TEVROL_EXPORT.
#define TEVROL_EXPORT __attribute__((visibility("default")))

// Keeps a member of an exported class (a test seam) out of the ABI.
#define TEVROL_INTERNAL __attribute__((visibility("hidden")))

#endif
