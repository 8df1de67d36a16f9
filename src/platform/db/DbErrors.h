#pragma once

#include "platform/Errors.h"

namespace korvel::db {

// A failure of the table engine: the file, the schema, a constraint or a lock.
class EDatabaseError : public EKorvelError {
public:
    using EKorvelError::EKorvelError;
};

} // namespace korvel::db
