// A call of one of the reader's services, and what holds for every one that is answered by one frame.
#pragma once

#include <array>

#include "support/exchanges.h"
#include "support/virtual_time.h"
#include "tagwire/result.h"

namespace tagwire::engine::test {

using Receiver = int (*Operations::*)(Reader*, u8*, int*);

inline constexpr Receiver receivers[] = {&Operations::GetDataFromPort, &Operations::ATGetDataFromPort,
                                         &Operations::GetWifiDataFromPort,
                                         &Operations::GetParemTabDataFromPort};

inline constexpr std::uint8_t unwritten = 0x99;

// The outputs have room for more than any call may write.
struct Call {
    Reader* reader;
    int handle = 0;
    u8 address = 0x05;
    std::array<Bytes, 17> out{};
    int number = 77;

    explicit Call(Reader* of, int through_handle = 0) : reader(of), handle(through_handle)
    {
        out.fill(repeat(unwritten, 600));
    }
    template <auto Slot, auto Exported, class... Arguments> int run(Arguments... arguments)
    {
        return through<Slot, Exported>(reader, handle, &address, arguments...);
    }
    u8* to(std::size_t i) { return out[i].data(); }

    // The outputs as text: "01 02 | 03 | # 4", nothing when none was written.
    std::string written() const
    {
        std::string text;
        std::string gap;
        for (Bytes field : out) {
            while (!field.empty() && field.back() == unwritten) field.pop_back();
            if (!field.empty()) text += gap + to_hex(field), gap.clear();
            gap += " | ";
        }
        return number == 77 ? text : text + " # " + std::to_string(number);
    }
};

// Takes the place of the link and of every receiver: notes what goes out, and answers with `bytes` and
// `result`.
class StandIn {
  public:
    explicit StandIn(Reader* reader, Receiver receiver = &Operations::GetDataFromPort) : reader_(reader)
    {
        current_ = this;
        for (const Receiver each : receivers) reader->operations.*each = unexpected;
        reader->operations.*receiver = receive;
        reader->operations.SendDataToPort = send;
    }
    ~StandIn()
    {
        reader_->operations.GetDataFromPort = I_GetDataFromPort;
        reader_->operations.ATGetDataFromPort = I_ATGetDataFromPort;
        reader_->operations.GetWifiDataFromPort = I_GetWifiDataFromPort;
        reader_->operations.GetParemTabDataFromPort = I_GetParemTabDataFromPort;
        reader_->operations.SendDataToPort = I_SendDataToPort;
        current_ = nullptr;
    }
    StandIn(const StandIn&) = delete;
    StandIn& operator=(const StandIn&) = delete;

    // Leaves traces of an earlier command behind, which a call has to clear.
    void soil() const
    {
        std::memset(reader_->recvBuff, 0xA5, sizeof reader_->recvBuff);
        reader_->recvLength = 1234;
        reader_->isInventoryCmd = true;
    }

    std::vector<Bytes> sent;
    int send_result = TAGWIRE_NO_ANSWER;
    bool in_inventory = false;
    bool cleared = false;
    int at_state = -1;

    Bytes bytes;
    int result = TAGWIRE_OK;
    int received = 0;
    int length_before = -1;
    bool into_reader = false;
    std::function<void(StandIn&)> before_answer;

  private:
    static int send(Reader* reader, u8* frame, unsigned count)
    {
        current_->sent.emplace_back(frame, frame + count);
        current_->in_inventory = reader->isInventoryCmd;
        current_->at_state = reader->ATstate;
        current_->cleared =
            std::all_of(reader->recvBuff, reader->recvBuff + 5000, [](u8 b) { return b == 0; });
        return current_->send_result;
    }
    static int receive(Reader* reader, u8* to, int* length)
    {
        StandIn& now = *current_;
        ++now.received;
        now.length_before = *length;
        now.into_reader = to == reader->recvBuff && length == &reader->recvLength;
        if (now.before_answer) now.before_answer(now);
        std::copy(now.bytes.begin(), now.bytes.end(), to);
        *length = static_cast<int>(now.bytes.size());
        reader->isInventoryCmd = true;
        return now.result;
    }
    static int unexpected(Reader* /*reader*/, u8* /*to*/, int* /*length*/)
    {
        ADD_FAILURE() << "another receiver";
        return TAGWIRE_NO_ANSWER;
    }

    static inline StandIn* current_ = nullptr;
    Reader* reader_;
};

// What goes out for a frame whose Len is one byte and wraps: the bytes that it announces. `whole` has no CRC
// yet.
inline Bytes wrapped(Bytes whole)
{
    whole[0] = static_cast<std::uint8_t>(whole.size() + 1);
    whole.resize(whole[0] - std::size_t{1});
    return with_crc(whole);
}

// Every way to cut a stream in two, and all of its bytes alone.
inline std::vector<std::vector<Bytes>> all_splits(const Bytes& stream)
{
    std::vector<std::vector<Bytes>> out;
    for (auto cut = stream.begin(); cut != stream.end(); ++cut)
        out.push_back({Bytes(stream.begin(), cut), Bytes(cut, stream.end())});
    out.emplace_back();
    for (const auto byte : stream) out.back().push_back({byte});
    return out;
}

inline std::vector<Bytes> in_chunks(const Bytes& stream, std::size_t size)
{
    std::vector<Bytes> out;
    for (std::size_t at = 0; at < stream.size(); at += size)
        out.emplace_back(stream.begin() + static_cast<long>(at),
                         stream.begin() + static_cast<long>(std::min(at + size, stream.size())));
    return out;
}

// A service with one request and one answer.
struct Service {
    const char* name;
    int (*run)(Call&);
    const char* request;  // without its CRC
    const char* data;     // of the answer
    const char* written;  // outputs with status 0
    bool writes_address = false;
    bool clears_length = false;  // recvLength, before receiving
    bool writes_always = false;  // outputs with another status too
    Receiver receiver = &Operations::GetDataFromPort;

    u8 code() const { return hex(request)[2]; }
};

inline void PrintTo(const Service& service, std::ostream* to) { *to << service.name; }

// Its tests are in service_rules_test.cpp, its services in the file of each family.
class OneAnswer : public testing::TestWithParam<Service> {
  protected:
    TestReader reader_;
    StandIn stand_in_{reader_, GetParam().receiver};
};

inline std::string service_name(const testing::TestParamInfo<Service>& info) { return info.param.name; }

}  // namespace tagwire::engine::test
