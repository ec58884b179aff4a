#include "tools/tavutango/TangoErrors.h"

#include "client/ClientErrors.h"
#include "tools/tavutango/RecorderLink.h"
#include "tools/tavutango/Tango.h"

namespace tavu::tavutango {

void throwForClient(const char* origin) {
    try {
        throw;
    } catch (const Tango::DevFailed&) {
        throw;
    } catch (const client::ServiceError& error) {
        Tango::Except::throw_exception("TAVU_ServiceError", error.what(), origin);
    } catch (const BadArgument& error) {
        Tango::Except::throw_exception("TAVU_BadArgument", error.what(), origin);
    } catch (const std::out_of_range& error) {
        Tango::Except::throw_exception("TAVU_BadArgument", error.what(), origin);
    } catch (const LinkDown& error) {
        Tango::Except::throw_exception("TAVU_NotConnected", error.what(), origin);
    } catch (const client::ClientError& error) {
        // No service, or the connection broke during the call; the next call reconnects.
        Tango::Except::throw_exception("TAVU_NotConnected", error.what(), origin);
    } catch (const std::exception& error) {
        Tango::Except::throw_exception("TAVU_Error", error.what(), origin);
    }
}

}  // namespace tavu::tavutango
