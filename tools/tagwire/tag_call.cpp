#include "tag_call.h"

namespace tagwire::tool {

void show(Session& session, const Done& done)
{
    session.out.line(session.options.json ? json_line(done.object) : done.text);
    session.out.flush();
}

int run_call(Session& session, Operation operation, Done done,
             const std::function<TagResult(const ReaderConnection&, Done&)>& call)
{
    const auto reader = connect(session);
    reader->require_success(call(*reader, done), operation);
    reader->require_success(reader->close(), Operation::Close);
    show(session, done);
    return exit_success;
}

}  // namespace tagwire::tool
