#include "file/InputStream.h"
#include "file/OutputStream.h"
#include "file/StreamController.h"

InputStream::InputStream() : m_flagA(false), m_flagB(true), m_word(0) {}

InputStream::~InputStream() = default;

void InputStream::CancelPending() {}

OutputStream::OutputStream() : m_callback(nullptr) {}

OutputStream::~OutputStream() = default;

void OutputStream::CancelPending() {}

Tevrol::ULong OutputStream::FlushWriteBuffer() {
  return kStreamSuccess;
}

OutputStreamCallback* OutputStream::GetOutputStreamCallback() {
  return m_callback;
}

void OutputStream::SetOutputStreamCallback(OutputStreamCallback* callback) {
  m_callback = callback;
}

StreamController::StreamController() : m_callback(nullptr) {}

StreamController::~StreamController() = default;

StreamControllerCallback* StreamController::GetStreamControllerCallback() {
  return m_callback;
}

void StreamController::SetStreamControllerCallback(StreamControllerCallback* callback) {
  m_callback = callback;
}
