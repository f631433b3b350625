// The collector's aggregator-side exporter interface, which the plug-in object implements.
//
// The aggregator calls through the virtual table, so the order of the virtual operations is part of
// the binary contract: id, append, append_kix, isEnabled, setEnabled, destructors.
#ifndef VEK_EXPORTER_KIX_EXPORTER_H
#define VEK_EXPORTER_KIX_EXPORTER_H

#include <string>

#include "data/data_page.h"
#include "data/type_system.h"
#include "utils/export.h"

namespace vek {
class SchemaManager;
}

namespace kix {

class ClientId;  // the collector's

namespace exp {

class VEK_API Exporter {
 public:
  virtual std::string id() const = 0;
  virtual void append(const ClientId& client, const vek_type_system_t* type_system,
                      const vek_data_page_t* page) = 0;
  virtual void append_kix(const ClientId& client, const vek_data_page_t* page,
                          vek::SchemaManager* schema_manager) = 0;
  virtual bool isEnabled() const = 0;

 protected:
  // Not virtual here: the destructor's slots come behind setEnabled.
  ~Exporter() = default;

  std::string name_;
};

// A flag shared by every exporter of one class, not kept per object.
template <typename Class>
class VEK_API ExporterSwitcher : public Exporter {
 public:
  bool isEnabled() const override { return is_enabled_; }
  virtual void setEnabled(bool enabled) { is_enabled_ = enabled; }
  virtual ~ExporterSwitcher() = default;

 protected:
  static inline bool is_enabled_ = true;
};

}  // namespace exp
}  // namespace kix

#endif  // VEK_EXPORTER_KIX_EXPORTER_H
