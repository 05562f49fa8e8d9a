// A test of somebody who uses the virtual reader. Its exit status is 0 when the reader runs, takes an order and can be
// scored.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include <tagwire-sim/control/server.h>
#include <tagwire-sim/simulator.h>
#include <tagwire-sim/truth/score.h>

int use(const std::string& folder)
{
    tagwire::sim::Simulator simulator;
    tagwire::sim::Reader& reader = simulator.add_reader_from_text("[[tag]]\nepc = \"E200\"\n");
    if (reader.listen() == 0) return 1;
    simulator.record_truth(folder + "/truth");
    {
        const tagwire::sim::ControlServer server(folder + "/control", {&reader});
        if (!tagwire::sim::ask_control(folder + "/control", 1, "add-tag epc=E201").done) return 2;
    }
    if (reader.tag_count() != 2 || reader.tag_memory(1, tagwire::sim::Bank::epc).size() < 3) return 3;
    simulator.end_truth();
    std::ofstream(folder + "/csv") << "epc\nE201\n";
    const tagwire::sim::Score score = tagwire::sim::score(folder + "/truth", folder + "/csv");
    return score.tags.size() == 2 && score.read.size() == 1 ? 0 : 4;
}

int main()
{
    std::string folder = std::filesystem::temp_directory_path() / "consumerXXXXXX";
    if (::mkdtemp(folder.data()) == nullptr) return 5;
    const int result = use(folder);
    std::filesystem::remove_all(folder);
    return result;
}
