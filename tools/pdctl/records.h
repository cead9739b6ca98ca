// The view of every record a notification can carry, by engine request
// code: which fields are shown, under which headings and JSON names.
#ifndef PDCTL_RECORDS_H
#define PDCTL_RECORDS_H

#include <cstdint>

#include "view.h"

namespace pdctl {

// `record` is the notification's result for engine request `code`, a record
// address; `code` is one that carries a record.
View view_of_record(uint32_t code, intptr_t record);

// A view for an answer without a record: a sentence.
View note_view(std::string sentence);

}  // namespace pdctl

#endif
