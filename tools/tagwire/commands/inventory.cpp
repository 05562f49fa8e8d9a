#include "tagwire/inventory.h"
#include "commands/groups.h"
#include "errors.h"
#include "format.h"
#include "parse.h"
#include "reader_information.h"
#include "records.h"
#include "reports.h"
#include "tag_table.h"
#include "tagwire/reading.h"
#include "tagwire/result.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <memory>
#include <optional>
#include <utility>

#include <fmt/format.h>

namespace tagwire::tool {

namespace {

using std::chrono::steady_clock;

struct InventoryArguments {
    std::string q = "4";
    std::string session = "S0";
    std::string target;
    std::string antenna;
    std::string scan_time;
    std::string mask;
    std::string tid = "0:6";
    CLI::Option* tid_given = nullptr;
    std::string seconds;
    bool count = false;
};

struct InventoryPlan {
    std::uint8_t q = 0;
    std::uint8_t session = 0;
    std::optional<std::uint8_t> target;
    std::optional<std::uint8_t> antenna;    // as the command carries it
    std::optional<std::uint8_t> scan_time;  // units of 100 ms
    std::optional<Mask> mask;
    std::optional<WordRange> tid;
    std::optional<std::chrono::milliseconds> duration;
    bool count = false;

    bool is_fast() const { return target || antenna || scan_time; }
};

constexpr std::uint8_t first_antenna = 0x80;

InventoryPlan plan_from(const InventoryArguments& arguments)
{
    InventoryPlan plan;
    plan.q = static_cast<std::uint8_t>(parse_number(arguments.q, "--q", 0, 15));
    plan.session = parse_session(arguments.session);
    if (!arguments.target.empty()) plan.target = parse_target(arguments.target);
    if (!arguments.antenna.empty()) {
        const auto number = parse_number(arguments.antenna, "--antenna", 1, 128);
        plan.antenna = static_cast<std::uint8_t>(first_antenna + number - 1);
    }
    if (!arguments.scan_time.empty()) plan.scan_time = parse_scan_time(arguments.scan_time);
    if (!arguments.mask.empty()) plan.mask = parse_mask(arguments.mask);
    if (arguments.tid_given->count() > 0) plan.tid = parse_tid_range(arguments.tid);
    if (!arguments.seconds.empty()) plan.duration = parse_seconds(arguments.seconds);
    plan.count = arguments.count;
    return plan;
}

// Runs one inventory after the other, on one connection.
class InventoryRunner {
  public:
    InventoryRunner(const ReaderConnection& reader, InventoryPlan plan)
        : reader_(reader), plan_(std::move(plan)), list_(std::make_unique<List>()),
          subscription_(reader.handle(), ReportSubscription::Delivery::ReportsAndList,
                        [this](const RFIDTag& report, int kind) {
                            reports_.push_back(record_from_report(report, kind));
                        })
    {
        // The three values go together: a scan time that was not asked for stays that of the reader.
        if (plan_.is_fast() && !plan_.scan_time) plan_.scan_time = read_information(reader).scan_time;
    }

    // Adds the tags of one inventory to the table, and returns its result.
    int run(TagTable& table)
    {
        reports_.clear();
        std::uint8_t antenna = 0;
        int list_bytes = 0;
        const int code = send(antenna, list_bytes);
        const auto used = std::min(static_cast<std::size_t>(std::max(list_bytes, 0)), list_->size());
        auto decoded = decode_list({list_->data(), used}, antenna);
        const auto in_list = decoded.records.size();
        const auto tags = combine(std::move(decoded.records), reports_);
        if (decoded.undecoded != 0 && tags.size() == in_list) {
            complain(fmt::format("the reader's list ends with {} bytes that make no tag", decoded.undecoded));
        }
        const auto now = Moment::now();
        for (const auto& tag : tags) table.add(tag, now);
        return code;
    }

  private:
    // The most that an inventory writes.
    using List = std::array<std::uint8_t, 65542>;

    int send(std::uint8_t& antenna, int& list_bytes)
    {
        auto address = reader_.address();
        auto mask = plan_.mask.value_or(Mask{});
        mask.data.resize(std::max<std::size_t>(mask.data.size(), 1));
        std::array<std::uint8_t, 2> mask_address{static_cast<std::uint8_t>(mask.bit_address >> 8),
                                                 static_cast<std::uint8_t>(mask.bit_address & 0xFF)};
        const auto tid = plan_.tid.value_or(WordRange{0, 0});
        int tags = 0;
        return Inventory_G2(&address, plan_.q, plan_.session, mask.bank, mask_address.data(), mask.bits,
                            mask.data.data(), plan_.mask ? 1 : 0, tid.first, tid.count, plan_.tid ? 1 : 0,
                            plan_.target.value_or(0), plan_.antenna.value_or(first_antenna),
                            plan_.scan_time.value_or(0), plan_.is_fast() ? 1 : 0, list_->data(), &antenna,
                            &list_bytes, &tags, reader_.handle());
    }

    const ReaderConnection& reader_;
    InventoryPlan plan_;
    std::unique_ptr<List> list_;
    std::vector<TagRecord> reports_;
    ReportSubscription subscription_;
};

bool is_success(int code)
{
    return code == TAGWIRE_INVENTORY_DONE || code == TAGWIRE_INVENTORY_TIME_OVER ||
           code == TAGWIRE_INVENTORY_NO_TAG;
}

// Repeats inventories for the time planned, or makes one. Returns the text of the failure that ended them, if
// any.
std::optional<std::string> take_inventories(Session& session, const ReaderConnection& reader,
                                            const InventoryPlan& plan, TagTable& table)
{
    const auto start = steady_clock::now();
    InventoryRunner runner(reader, plan);
    const InterruptWatch::Hook abort(session.interrupts, [&reader] {
        auto address = reader.address();
        StopImmediately(&address, reader.handle());
    });
    do {
        const int code = runner.run(table);
        if (session.interrupts.interrupted()) return std::nullopt;
        if (!is_success(code)) return reader.text(code, Operation::Inventory);
        session.out.check();
    } while (plan.duration && steady_clock::now() - start < *plan.duration && !session.out.closed());
    return std::nullopt;
}

void show_tags(Session& session, const TagTable& table)
{
    for (const auto& row : table.rows()) {
        session.out.line(session.options.json ? json_line(tag_json(row)) : tag_line(row));
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

int inventory(Session& session, const InventoryPlan& plan)
{
    const auto connection = connect(session);
    auto& reader = *connection;
    TagTable table;
    const auto start = steady_clock::now();
    const auto problem = take_inventories(session, reader, plan, table);
    const auto elapsed = steady_clock::now() - start;
    if (problem) complain(*problem);

    plan.count ? show_count(session, table) : show_tags(session, table);
    session.out.flush();
    if (!session.out.closed()) tell(summary_text(table, elapsed));
    reader.require_success(reader.close(), Operation::Close);
    return problem ? exit_failure : exit_success;
}

}  // namespace

void add_inventory_commands(Application& application)
{
    const auto arguments = std::make_shared<InventoryArguments>();
    auto& command = application.add_command("inventory", "List the EPC Gen2 tags in the field.", [arguments] {
        return Work([plan = plan_from(*arguments)](Session& session) { return inventory(session, plan); });
    });
    command.add_option("--q", arguments->q, "Q, 0 to 15: the reader expects about 2^Q tags")
        ->type_name("N")
        ->capture_default_str();
    command.add_option("--session", arguments->session, "session, S0 to S3")
        ->type_name("S")
        ->capture_default_str();
    command.add_option("--target", arguments->target, "inventoried flag to look for, A or B")
        ->type_name("A|B");
    command.add_option("--antenna", arguments->antenna, "antenna port, counted from 1")->type_name("N");
    command
        .add_option("--scan-time", arguments->scan_time,
                    "longest duration of one inventory, 1 to 25500 ms, rounded up to 100 ms")
        ->type_name("MS");
    command
        .add_option("--mask", arguments->mask,
                    "only tags whose memory begins so at this bit; BANK is epc, tid, user or 0 to 3. The EPC "
                    "itself begins at bit 32 of bank epc")
        ->type_name("BANK:BITADDR:HEX[/BITS]");
    arguments->tid_given =
        command
            .add_option("--tid", arguments->tid,
                        "report WORDS words of the TID from word ADR on instead of the EPC; "
                        "0:6 without a value")
            ->type_name("[ADR:WORDS]")
            ->expected(0, 1)
            ->default_str("0:6");
    command
        .add_option("--seconds", arguments->seconds, "repeat inventories for so long and merge their tags")
        ->type_name("N");
    command.add_flag("--count", arguments->count, "print the number of different tags only");
    command.footer(
        R"(With one of --target, --antenna and --scan-time, the others are A, 1 and the reader's own
scan time. Without any, the reader uses its settings.

Examples:
  tagwire inventory --reader tcp://192.168.1.190:27011
  tagwire inventory --q 6 --session S1 --seconds 10 --json
  tagwire inventory --antenna 2 --scan-time 500 --tid 0:6
  tagwire inventory --mask epc:32:E280/16 --count)");
}

}  // namespace tagwire::tool
