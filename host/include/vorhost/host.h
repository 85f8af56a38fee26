// A host for the module: it offers every service that the module asks for, loads it, and keeps what one or several
// conversions share: files, log, options, user formats.
#pragma once

#include <vorhost/files.h>
#include <vorhost/log.h>
#include <vorhost/user_format.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

struct GCB;
struct IMGLUE;

namespace vor {

// Where the module's blocks come from; the default is the C++ heap.
class Memory {
  public:
    virtual ~Memory() = default;
    virtual void *allocate(size_t bytes) = 0; // zero-filled, or null
    virtual void free(void *block) = 0;
};

struct HostOptions {
    FileSystem *files = nullptr;        // null: the disk
    Memory *memory = nullptr;           // null: the heap
    Log *log = nullptr;                 // null: no log
    FormatCatalogs *catalogs = nullptr; // null: user formats are refused with a note
    std::string session_encoding = "utf-8";
    std::string valid_variable_names = "any"; // the option VALIDVARNAME
    std::string file_encoding;                // the variable DBE_NAME; empty: not set
    std::string statements;                   // pending statement text, such as "FMTLIB=WORK.FORMATS;"
    std::string module_path;                  // empty: VORDTA_MODULE, beside the program, or the library directory
};

// One host. Not copied, not used from two threads at once. The module's objects must not outlive it.
class Host {
  public:
    explicit Host(HostOptions options); // ConversionError (usage) for an unknown session encoding
    ~Host();
    Host(const Host &) = delete;
    Host &operator=(const Host &) = delete;

    // The control block for a module that is connected by hand. Lives as long as the host.
    GCB *control_block();

    // Loads the module from its file and connects it; ConversionError (machine) names the file and what is missing.
    void load_module();

    // Connects a module linked into the program in place of a loaded one.
    using Constructor = int (*)(IMGLUE **);
    void use_module(Constructor constructor);

    // A new access object of the loaded module. ConversionError when the module refuses.
    IMGLUE *new_object();

    // Ends an object: its delete slot, then the record.
    void delete_object(IMGLUE *object);

    // Gives a byte stream a logical name of at most 8 characters, as if it had been assigned by the user: reading and
    // writing through it go to `file`, which is read or written from front to back.
    void assign_reference(const std::string &logical_name, std::unique_ptr<ByteFile> file);

    // What the module said about a failure since the last call: its lines without a level, joined into one sentence,
    // with the system's own error (no space, no permission) when there was one. Clears it.
    struct FailureText {
        std::string text;
        std::optional<std::error_code> system_error;
    };
    FailureText take_failure();

    // The host of the session encoding: bytes of session text to UTF-8 and back.
    // Decodes into `utf8`; false when the bytes are not valid in the session encoding (utf8 then holds them decoded as
    // Windows Latin 1). When the text can stand as it is, `utf8` is not used and the result is a view of `bytes`.
    struct Decoded {
        std::string_view text;
        bool valid;
    };
    Decoded decode(std::string_view bytes, std::string &scratch) const;

    // Encodes UTF-8 in the session encoding; characters it does not have become '?' and are counted in *replaced.
    std::string encode(std::string_view utf8, int *replaced = nullptr) const;

    const HostOptions &options() const;

    // Blocks and files that the module still holds; 0 after the last object has been deleted.
    size_t blocks_in_use() const;
    size_t files_open() const;

  private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace vor
