// What the two block paths do differently: where the schemas of a page come from, and under which
// name the path reports.
#ifndef VEK_EXPORTER_BLOCK_PATH_H
#define VEK_EXPORTER_BLOCK_PATH_H

#include "data/schema_id.h"
#include "exporter/counter_set_cache.h"
#include "exporter/fluentbit_exporter.h"
#include "utils/clock.h"

namespace vek {

// One object a page.
class BlockPath {
 public:
  virtual ~BlockPath() = default;

  // The exporting method's name, for messages.
  virtual const char* name() const = 0;
  // The process-wide limit of this path's "field_set_ is not set" message.
  virtual LogRateLimit& field_set_limit() const = 0;
  // A schemas block has become the page's last one; `field_set`, which may be null, knows it.
  virtual void on_schemas_block(FieldSet* field_set) = 0;
  // The counter set for the counters block at hand; a null set when there is none.
  virtual BoundCounterSet counter_set() = 0;
};

// Schemas of the type system that the host lent; all of a page's counters are of its one schema.
class TypeSystemPath final : public BlockPath {
 public:
  TypeSystemPath(FluentBitExporter& exporter, const vek_type_system_t* type_system);

  const char* name() const override { return "exportVekDataPage"; }
  LogRateLimit& field_set_limit() const override;
  // All schemas of the type system were bound when the page began.
  void on_schemas_block(FieldSet*) override {}
  BoundCounterSet counter_set() override { return counters_; }

 private:
  BoundCounterSet counters_;
};

// Schemas that a schema manager finds by the identifier in the page's header.
class SchemaManagerPath final : public BlockPath {
 public:
  SchemaManagerPath(FluentBitExporter& exporter, SchemaManager* manager, const PageView& page);

  const char* name() const override { return "exportVekDataPage_kix"; }
  LogRateLimit& field_set_limit() const override;
  void on_schemas_block(FieldSet* field_set) override;
  BoundCounterSet counter_set() override;

 private:
  FluentBitExporter& exporter_;
  SchemaManager* manager_;
  const uint8_t* schema_id_;  // of the page
};

}  // namespace vek

#endif  // VEK_EXPORTER_BLOCK_PATH_H
