#pragma once

// Kinds whose System library sources list element objects (the command line's element JSON) rather than
// fields register a writer here, beside their source reader; the other kinds' elements give fields by name.

#include "platform/base/LibSchema.h" // KORVEL_CONCAT

#include <memory>
#include <nlohmann/json.hpp>
#include <string>

namespace korvel {
class TMyTable;
}

namespace korvel::tools {

struct TSystemLibSource;

class TElementWriter {
public:
    virtual ~TElementWriter() = default;
    // Appends and stores one element. Throws EKorvelError naming the member at fault; the record is then
    // left unposted and the caller drops the whole library.
    virtual void Append(const nlohmann::json& element) = 0;
    // The library file is in place in outFolder: files that go beside it are written now.
    virtual void Finish(const std::string& /*outFolder*/) {}
};

// lib is open inside the build's transaction.
using TElementWriterFactory = std::unique_ptr<TElementWriter> (*)(TMyTable& lib,
                                                                  const TSystemLibSource& source);

bool RegisterElementWriter(int libType, TElementWriterFactory factory);
// nullptr for kinds whose elements give fields.
TElementWriterFactory FindElementWriter(int libType);
// The name member of element objects.
inline constexpr const char* kElementNameMember = "name";

} // namespace korvel::tools

#define KORVEL_REGISTER_ELEMENT_WRITER(libType, factory)                                                     \
    static const bool KORVEL_CONCAT(korvelElementWriterRegistered, __LINE__) =                               \
        ::korvel::tools::RegisterElementWriter(libType, factory)
