// StreamDestination: records written one after the other, in a format of their own, to a sink.
#ifndef VEK_RAW_MSGPACK_API_STREAM_DESTINATION_H
#define VEK_RAW_MSGPACK_API_STREAM_DESTINATION_H

#include <memory>
#include <string>
#include <vector>

#include "raw_msgpack_api/byte_sink.h"
#include "raw_msgpack_api/destination.h"
#include "utils/clock.h"

namespace vek::engine {

class RecordFormat {
 public:
  virtual ~RecordFormat() = default;
  virtual void append(const RecordView& record, std::string& out) = 0;
};

// The record as one line of JSON.
class JsonLines : public RecordFormat {
 public:
  void append(const RecordView& record, std::string& out) override;
};

// A full disk is waited for, within the grace at the end; any other error loses what could not be
// written, and the next batch is tried afresh.
class StreamDestination : public Destination {
 public:
  StreamDestination(std::string name, std::unique_ptr<RecordFormat> format,
                    std::unique_ptr<ByteSink> sink);
  void run(RecordQueue& queue) override;

 private:
  void write_batch(const RecordBatch& batch, RecordQueue& queue);
  // Tells the queue what became of the batch; true when the rest should be tried again.
  bool settle(const WriteResult& result, RecordQueue& queue);

  std::string name_;
  std::unique_ptr<RecordFormat> format_;
  std::unique_ptr<ByteSink> sink_;
  std::string text_;          // of the batch in hand; reused
  std::vector<size_t> ends_;  // of each record in text_
  LogRateLimit error_limit_;
};

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_STREAM_DESTINATION_H
