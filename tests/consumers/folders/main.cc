// Prints the names of services of the folder that compiles this one's code, and
// of a library.

#include <iostream>

#include "book/book.rpc.h"
#include "shelf.rpc.h"
#include "store.rpc.h"

#ifndef BOOST_OF_THE_PROJECT
#error \
    "Boost's headers come from another folder than the one that CMake was told"
#endif

int main() {
  std::cout << library::Books::full_name() << " "
            << library::Shelves::full_name() << " "
            << library::Stores::full_name() << "\n";
}
