#pragma once

// A picture shown from encoded image bytes; decoding is the renderer's job.

#include "platform/ui/Control.h"

#include <cstdint>
#include <string>
#include <vector>

namespace korvel {

// "png", "jpeg", "bmp", "gif", "svg" from the first bytes; empty when unknown.
std::string DetectImageFormat(const std::vector<std::uint8_t>& bytes);

class TPictureBox : public TControl {
public:
    using TControl::TControl;
    std::string_view ClassName() const override { return "TPictureBox"; }

    const std::vector<std::uint8_t>& Bytes() const { return bytes_; }
    // Format tag in lower case ("png", ...); empty when there is no picture.
    const std::string& Format() const { return format_; }
    bool Empty() const { return bytes_.empty(); }
    // An empty format is detected from the bytes; throws EKorvelError when it cannot be.
    void SetPicture(std::vector<std::uint8_t> bytes, std::string format = {});
    void Clear();

    // Stretch scales to the control; Proportional keeps the aspect ratio while doing so.
    bool Stretch() const { return stretch_; }
    void SetStretch(bool stretch) { Assign(stretch_, stretch, TChangeKind::Style); }
    bool Proportional() const { return proportional_; }
    void SetProportional(bool proportional) { Assign(proportional_, proportional, TChangeKind::Style); }
    bool Center() const { return center_; }
    void SetCenter(bool center) { Assign(center_, center, TChangeKind::Style); }

private:
    std::vector<std::uint8_t> bytes_;
    std::string format_;
    bool stretch_ = false;
    bool proportional_ = true;
    bool center_ = true;
};

} // namespace korvel
