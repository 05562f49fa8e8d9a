#include <iostream>
#include <tagwirexx/tagwire.hpp>

int main(int, char** argv)
try {
    tagwire::Reader reader(argv[1]);
    // One tag answers, or this throws with the list of those that did.
    auto tag = reader.tag(tagwire::Epc("E28011606000020900000003"), tagwire::Password("11223344"));
    tag.write(tagwire::Bank::user, 0, tagwire::from_hex("CAFE0001"));   // read back and compared
    tag.lock(tagwire::Area::user, tagwire::Protection::password);
    std::cout << tagwire::to_hex(tag.read(tagwire::Bank::user, 0, 2)) << '\n';
}
catch (const tagwire::Error& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
