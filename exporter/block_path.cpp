#include "exporter/block_path.h"

#include <cstring>

#include "schema_manager/schema_manager.h"

namespace vek {

TypeSystemPath::TypeSystemPath(FluentBitExporter& exporter, const vek_type_system_t* type_system) {
  if (exporter.field_set_) exporter.field_set_->updateWithNewSchemas(type_system, false);
  const vek_counters_schema_t* const schema = type_system ? type_system->counters_schema : nullptr;
  if (!schema) return;
  if (const BoundCounterSet* found = exporter.csets_.find_for_page(*schema)) {
    counters_ = *found;
  } else if (vek_counters_schema_number_of_counters(schema) > 0) {
    counters_ = exporter.csets_.get_for_page(schema, exporter.counterset_file_);
  } else {
    return;
  }
  exporter.counter_set_ = counters_.set;
}

LogRateLimit& TypeSystemPath::field_set_limit() const {
  static LogRateLimit limit;
  return limit;
}

SchemaManagerPath::SchemaManagerPath(FluentBitExporter& exporter, SchemaManager* manager,
                                     const PageView& page)
    : exporter_(exporter), manager_(manager), schema_id_(page.schema_id.data()) {}

LogRateLimit& SchemaManagerPath::field_set_limit() const {
  static LogRateLimit limit;
  return limit;
}

void SchemaManagerPath::on_schemas_block(FieldSet* field_set) {
  if (field_set && manager_) field_set->updateWithNewSchemas_kix(manager_);
}

// Asked for every block: a schema file that arrives late counts from the next block on.
BoundCounterSet SchemaManagerPath::counter_set() {
  if (!manager_) return {};
  // Looked for once for a run of pages of one schema.
  auto& found = exporter_.page_schema_;
  if (found.manager != manager_->serial() ||
      std::memcmp(found.id.data(), schema_id_, found.id.size()) != 0) {
    const auto schema = manager_->getCountersSchema(data::SchemaId(schema_id_));
    if (!schema) return {};
    found.manager = manager_->serial();
    found.schema = schema.get();  // which the manager keeps
    std::memcpy(found.id.data(), schema_id_, found.id.size());
  }
  const BoundCounterSet* const known = exporter_.csets_.find_for_page(*found.schema);
  const BoundCounterSet counters =
      known ? *known : exporter_.csets_.get_for_page(found.schema, exporter_.counterset_file_);
  exporter_.counter_set_ = counters.set;
  return counters;
}

}  // namespace vek
