#include "inventory_run.h"

#include "errors.h"
#include "format.h"
#include "reports.h"
#include "tag_table.h"

#include "tagwire/reading.h"
#include "tagwire/result.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>
#include <utility>

#include <fmt/format.h>

namespace tagwire::tool {

namespace {

using std::chrono::steady_clock;

// Runs one inventory after the other, on one connection.
class InventoryRunner {
  public:
    InventoryRunner(const ReaderConnection& reader, const InventoryJob& job)
        : layout_(job.layout), list_(std::make_unique<InventoryList>()),
          subscription_(reader.handle(), ReportSubscription::Delivery::ReportsAndList,
                        [this](const RFIDTag& report, int kind) {
                            reports_.push_back(record_from_report(report, kind));
                        }),
          send_(job.prepare(reader))
    {}

    // Adds the tags of one inventory to the table, and returns its result.
    int run(TagTable& table)
    {
        reports_.clear();
        std::uint8_t antenna = 0;
        int list_bytes = 0;
        const int code = send_(*list_, antenna, list_bytes);
        const auto used = std::min(static_cast<std::size_t>(std::max(list_bytes, 0)), list_->size());
        auto decoded = decode_list({list_->data(), used}, antenna, layout_);
        const auto in_list = decoded.records.size();
        const auto records = combine(std::move(decoded.records), reports_);
        if (decoded.undecoded != 0 && records.size() == in_list) {
            complain(fmt::format("the reader's list ends with {} bytes that make no tag", decoded.undecoded));
        }
        const auto now = Moment::now();
        for (const auto& tag : join_data(records)) table.add(tag, now);
        return code;
    }

  private:
    RecordLayout layout_;
    std::unique_ptr<InventoryList> list_;
    std::vector<TagRecord> reports_;
    ReportSubscription subscription_;
    SendInventory send_;
};

bool is_success(int code)
{
    return code == TAGWIRE_INVENTORY_DONE || code == TAGWIRE_INVENTORY_TIME_OVER ||
           code == TAGWIRE_INVENTORY_NO_TAG;
}

// Repeats inventories for the time planned, or makes one. Returns the text of the failure that ended them, if
// any.
std::optional<std::string> take_inventories(Session& session, const ReaderConnection& reader,
                                            const InventoryJob& job, TagTable& table)
{
    const auto start = steady_clock::now();
    const auto duration = job.repeat.duration;
    InventoryRunner runner(reader, job);
    const InventoryAbort abort(session, reader);
    do {
        const int code = runner.run(table);
        if (session.interrupts.interrupted()) return std::nullopt;
        if (!is_success(code)) return reader.text(code, Operation::Inventory);
        session.out.check();
    } while (duration && steady_clock::now() - start < *duration && !session.out.closed());
    return std::nullopt;
}

void show_tags(Session& session, const TagTable& table, const std::string& id_key)
{
    for (const auto& row : table.rows()) {
        session.out.line(session.options.json ? json_line(tag_json(row, id_key)) : tag_line(row));
        if (session.out.closed()) return;
    }
}

void show_count(Session& session, const TagTable& table)
{
    if (!session.options.json) {
        session.out.line(fmt::to_string(table.rows().size()));
        return;
    }
    Json object;
    object["type"] = "count";
    object["tags"] = table.rows().size();
    object["reads"] = table.reads();
    session.out.line(json_line(object));
}

}  // namespace

InventoryAbort::InventoryAbort(Session& session, const ReaderConnection& reader)
    : hook_(session.interrupts, [&reader] {
          auto address = reader.address();
          StopImmediately(&address, reader.handle());
      })
{}

int run_inventory(Session& session, const InventoryJob& job)
{
    const auto connection = connect(session);
    auto& reader = *connection;
    TagTable table;
    const auto start = steady_clock::now();
    const auto problem = take_inventories(session, reader, job, table);
    const auto elapsed = steady_clock::now() - start;
    if (problem) complain(*problem);

    job.repeat.count ? show_count(session, table) : show_tags(session, table, job.id_key);
    session.out.flush();
    if (!session.out.closed()) tell(summary_text(table, elapsed));
    reader.require_success(reader.close(), Operation::Close);
    return problem ? exit_failure : exit_success;
}

}  // namespace tagwire::tool
