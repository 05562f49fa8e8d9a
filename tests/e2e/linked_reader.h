// A test with one virtual reader behind one kind of link.
#pragma once

#include <memory>

#include "e2e/connection.h"

namespace tagwire::test {

using Bytes = std::vector<unsigned char>;

class LinkedReader : public testing::TestWithParam<Link> {
  protected:
    // Ends the connection to an earlier reader.
    void connect(const sim::Scenario& scenario)
    {
        connection.reset();
        reader = &simulator.add_reader(scenario);
        connection = std::make_unique<Connection>(*reader, GetParam());
        ASSERT_EQ(connection->open(), 0);
        handle = connection->handle();
    }
    unsigned char* address() { return connection->address(); }

    sim::Simulator simulator;
    sim::Reader* reader = nullptr;
    std::unique_ptr<Connection> connection;
    int handle = -1;
};

}  // namespace tagwire::test
