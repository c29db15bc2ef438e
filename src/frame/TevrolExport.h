#ifndef TEVROL_FRAME_TEVROLEXPORT_H
#define TEVROL_FRAME_TEVROLEXPORT_H

// The one export macro. The library is built with hidden visibility; every
// class and function of the public interface carries TEVROL_EXPORT.
#define TEVROL_EXPORT __attribute__((visibility("default")))

#endif
