#include "reader_information.h"

#include "tagwire/information.h"

namespace tagwire::tool {

ReaderInformation read_information(const ReaderConnection& reader)
{
    ReaderInformation info;
    info.address = reader.address();
    const int code = GetReaderInformation(&info.address, info.version.data(), &info.type, &info.protocols,
                                          &info.max_frequency, &info.min_frequency, &info.power_dbm,
                                          &info.scan_time, &info.antenna, &info.beep, &info.output_report,
                                          &info.antenna_check, reader.handle());
    reader.require_success(code, Operation::Information);
    return info;
}

}  // namespace tagwire::tool
