// Summaries of recordings, one a file.
#include "tools/inspect/inspect_view.h"
#include "tools/inspect/recording_summary.h"

namespace vek::tools {
namespace {

class SummaryView final : public InspectView {
 public:
  SummaryView(bool json, bool salvage) : json_(json), salvage_(salvage) {}

  void page(const InspectedPage& page) override { summary_.add(page); }
  void lost(std::string_view, const LostBytes& lost) override { summary_.add_lost(lost); }
  void end_file(std::string_view file, const std::string& damage) override {
    if (salvage_) summary_.count_losses();
    summary_.set_damage(damage);
    const std::string name(file);
    text_ += json_ ? summary_.json(name) : summary_.text(name);
    summary_ = {};
  }

 private:
  bool json_;
  bool salvage_;
  RecordingSummary summary_;
};

}  // namespace

std::unique_ptr<InspectView> make_summary_view(bool json, bool salvage) {
  return std::make_unique<SummaryView>(json, salvage);
}

}  // namespace vek::tools
