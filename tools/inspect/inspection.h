// Inspection: reads recordings and gives the pages that pass the filter to whoever tells them.
#ifndef VEK_TOOLS_INSPECT_INSPECTION_H
#define VEK_TOOLS_INSPECT_INSPECTION_H

#include <memory>
#include <string>

#include "tools/inspect/inspect.h"
#include "tools/pages/inspected_page.h"
#include "tools/pages/page_salvager.h"

namespace vek::tools {

// Who takes the pages of an inspection. False ends it.
class PageTaker {
 public:
  virtual ~PageTaker() = default;
  virtual bool page(const InspectedPage& page, const vek_data_page_t* image) = 0;
  virtual bool lost(const PageReader& reader, const LostBytes& lost) = 0;
  // `damage`: what ended the file too early; empty when nothing did.
  virtual bool end_file(const PageReader& reader, const std::string& damage) = 0;
};

class Inspection {
 public:
  // Both outlive it.
  Inspection(InspectOptions& options, const vek_exporter_schema_manager_t& schemas)
      : options_(options), schemas_(schemas), counters_(schemas) {}

  // Damage, and what contradicts the format, goes to standard error, too.
  void run(PageTaker& taker);
  void found_bad() { bad_ = true; }
  ExitStatus status() const;

 private:
  // False when the inspection is over.
  bool read(const std::string& path, PageReader& reader, PageSalvager* salvager, PageTaker& taker);
  bool stop();
  bool take(const PageReader& reader, PageTaker& taker);
  bool pass_over(const PageSalvager& salvager, PageTaker& taker);
  void tell(const InspectedPage& page, const PageFault& fault);

  InspectOptions& options_;
  const vek_exporter_schema_manager_t& schemas_;
  CountersSchemas counters_;
  uint64_t told_ = 0;  // broken pages of the file
  bool bad_ = false;
  bool unreadable_ = false;
  bool stopped_ = false;  // by a signal, or because nobody reads the output
};

}  // namespace vek::tools

#endif  // VEK_TOOLS_INSPECT_INSPECTION_H
