// Calls of the library for one tag.
#pragma once

#include <cstdint>
#include <functional>
#include <tuple>

#include "app.h"
#include "connection.h"
#include "errors.h"
#include "format.h"
#include "tag_name.h"

namespace tagwire::tool {

// The arguments that all calls for one tag have, in the order of the library.
class TagCall {
  public:
    TagCall(const ReaderConnection& reader, const TagName& name)
        : address_(reader.address()), handle_(reader.handle()), tag_(name)
    {}

    // `own` are the arguments between name and mask, `out` those behind the mask.
    template <typename Call, typename... Own, typename... Out>
    TagResult operator()(Call call, const std::tuple<Own...>& own, Out... out)
    {
        return finish(std::apply(
            [&](auto... fields) {
                return call(&address_, tag_.id.data(), tag_.id_words, fields..., tag_.mask.bank,
                            tag_.mask.address.data(), tag_.mask.bits, tag_.mask.data.data(), out..., &error_,
                            handle_);
            },
            own));
    }

    // Writes have the count of words before the name.
    template <typename Call, typename Pointer>
    TagResult write(Call call, std::uint8_t words, std::uint8_t bank, Pointer pointer, Bytes data,
                    Password password)
    {
        return finish(call(&address_, tag_.id.data(), words, tag_.id_words, bank, pointer, data.data(),
                           password.data(), tag_.mask.bank, tag_.mask.address.data(), tag_.mask.bits,
                           tag_.mask.data.data(), &error_, handle_));
    }

    // For commands that whichever tag answers obeys.
    template <typename Call, typename... Own> TagResult unaddressed(Call call, Own... own)
    {
        return finish(call(&address_, own..., &error_, handle_));
    }

  private:
    TagResult finish(int code)
    {
        TagResult result{code, error_};
        error_ = -1;
        return result;
    }

    std::uint8_t address_;
    int handle_;
    TagArguments tag_;
    int error_ = -1;
};

// What a command tells when it is done: a line, and an object for JSON.
struct Done {
    std::string text;
    Json object;
};

void show(Session& session, const Done& done);

// Connects, makes a call, closes the connection and shows what was done. `call` may complete what is shown.
// Throws Failure when the call fails.
int run_call(Session& session, Operation operation, Done done,
             const std::function<TagResult(const ReaderConnection&, Done&)>& call);
int run_tag_call(Session& session, const TagName& name, Operation operation, Done done,
                 const std::function<TagResult(TagCall&, Done&)>& call);

}  // namespace tagwire::tool
