// tavutango: the recorders of the local service as devices of a Tango control system.
//   tavutango INSTANCE                         with the facility's database (TANGO_HOST)
//   tavutango INSTANCE -nodb -dlist a/b/c -ORBendPoint giop:tcp:HOST:PORT   without one
#include <iostream>
#include <memory>

#include "tools/tavutango/TavuRecorderClass.h"

// The framework asks the server for its classes through this one function.
void Tango::DServer::class_factory() { add_class(tavu::tavutango::TavuRecorderClass::init("TavuRecorder")); }

int main(int argc, char* argv[]) {
    try {
        Tango::Util* util = Tango::Util::init(argc, argv);
        util->server_init(false);
        std::cout << "Ready to accept requests" << std::endl;
        util->server_run();
    } catch (const std::bad_alloc&) {
        std::cerr << "tavutango: out of memory" << std::endl;
        return 1;
    } catch (const CORBA::Exception& error) {
        Tango::Except::print_exception(error);
        return 1;
    }
    Tango::Util::instance()->server_cleanup();
    return 0;
}
