// The version of a copy, for whoever looks into its file: `strings` shows it in a line of its own.
// No code refers to it; the link options keep it.
namespace quintora {

extern "C" {
extern const char kVersionMark[];
const char kVersionMark[] = "\0Quintora.cgi " BRIDGE_VERSION;
}

}  // namespace quintora
