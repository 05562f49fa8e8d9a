// A test of somebody who uses the virtual reader. Its exit status is 0 when the reader runs and takes an order.
#include <tagwire-sim/simulator.h>

int main()
{
    tagwire::sim::Simulator simulator;
    tagwire::sim::Reader& reader = simulator.add_reader_from_text("[[tag]]\nepc = \"E200\"\n");
    if (reader.listen() == 0) return 1;
    reader.control("add-tag epc=E201");
    return reader.tag_count() == 2 && reader.tag_memory(1, tagwire::sim::Bank::epc).size() > 2 ? 0 : 2;
}
