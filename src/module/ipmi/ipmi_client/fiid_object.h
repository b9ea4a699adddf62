// SPDX-License-Identifier: GPL-3.0-or-later
/// @file
/// libfreeipmi's view of a message by field names, freed at the end.
#ifndef MODULE_IPMI_IPMI_CLIENT_FIID_OBJECT_H
#define MODULE_IPMI_IPMI_CLIENT_FIID_OBJECT_H

#include <freeipmi/freeipmi.h>

#include <cstdint>
#include <vector>

namespace Tulvo::Rmcp {

/// Without memory for it the object is empty, and every function of the library then fails.
class FiidObject
{
public:
    explicit FiidObject(const fiid_field_t* layout)
        : object_(fiid_obj_create(const_cast<fiid_field_t*>(layout)))
    {
    }
    FiidObject(const FiidObject&) = delete;
    FiidObject& operator=(const FiidObject&) = delete;
    ~FiidObject() { fiid_obj_destroy(object_); }

    fiid_obj_t Get() const { return object_; }

    /// A field's number; 0 when the message ended before it.
    std::uint64_t Number(const char* field) const
    {
        std::uint64_t value = 0;
        return fiid_obj_get(object_, field, &value) == 1 ? value : 0;
    }

    /// A field's bytes; as many as there are.
    std::vector<std::uint8_t> Bytes(const char* field) const
    {
        const int length = fiid_obj_field_len_bytes(object_, field);
        std::vector<std::uint8_t> bytes(length > 0 ? static_cast<std::size_t>(length) : 0);
        if (!bytes.empty()) {
            fiid_obj_get_data(object_, field, bytes.data(), static_cast<unsigned>(bytes.size()));
        }
        return bytes;
    }

private:
    fiid_obj_t object_;
};

}  // namespace Tulvo::Rmcp

#endif
