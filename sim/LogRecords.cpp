#include "sim/LogRecords.h"

#include <fcntl.h>
#include <unistd.h>

#include <utility>

#include "sim/BoardFolder.h"

namespace sim {
namespace {

// "file.cpp:Function(12) message" without what stands in front of the message.
std::string WithoutOrigin(const std::string& text) {
  const std::size_t end = text.find(") ");
  const std::size_t blank = text.find(' ');
  return end != std::string::npos && end < blank ? text.substr(end + 2) : text;
}

}  // namespace

LogRecords::~LogRecords() {
  if (descriptor_ >= 0) {
    (void)close(descriptor_);
  }
}

void LogRecords::WriteTo(const std::string& path) {
  const std::lock_guard lock(mutex_);
  if (descriptor_ >= 0) {
    (void)close(descriptor_);
  }
  descriptor_ = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
  if (descriptor_ < 0) {
    ThrowFailed(path);
  }
}

void LogRecords::Add(int severity, std::string text) {
  const std::lock_guard lock(mutex_);
  if (descriptor_ >= 0) {
    const std::string line = std::to_string(severity) + ' ' + text + '\n';
    (void)!write(descriptor_, line.data(), line.size());  // a full disk loses log lines, no more
  }
  if (records_.size() < kMaxKept) {
    records_.push_back({severity, std::move(text)});
  }
}

std::vector<LogRecord> LogRecords::All() const {
  const std::lock_guard lock(mutex_);
  return records_;
}

std::vector<std::string> LogRecords::Messages(int severity) const {
  std::vector<std::string> texts;
  for (LogRecord& record : WithoutOrigins()) {
    if (record.severity == severity) {
      texts.push_back(std::move(record.text));
    }
  }
  return texts;
}

std::vector<LogRecord> LogRecords::WithoutOrigins() const {
  std::vector<LogRecord> records = All();
  for (LogRecord& record : records) {
    record.text = WithoutOrigin(record.text);
  }
  return records;
}

void LogRecords::Clear() {
  const std::lock_guard lock(mutex_);
  records_.clear();
}

}  // namespace sim
