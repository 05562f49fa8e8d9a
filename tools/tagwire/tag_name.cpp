#include "tag_name.h"

namespace tagwire::tool {

MaskArguments::MaskArguments(const std::optional<Mask>& mask) : data(1)
{
    if (!mask) return;
    bank = mask->bank;
    address = high_byte_first(mask->bit_address);
    bits = mask->bits;
    data = mask->data;
}

}  // namespace tagwire::tool
