// A host for the module: it offers every service that the module asks for, loads it, and keeps what one or several
// conversions share: files, log, options, user formats.
#pragma once

#include <vorhost/error.h>
#include <vorhost/files.h>
#include <vorhost/log.h>
#include <vorhost/user_format.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

struct GCB;
struct IMAGE_INFORMATION;
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
    std::string file_encoding = {};           // goes before the variable DBE_NAME; empty: not given
    std::string label_encoding = {};          // of labels that the module does not transcode; empty: the session's
    std::string statements = {};              // for the module's objects, such as "FMTLIB=WORK.FORMATS;"
    Unpacking unpacking = Unpacking::bounded; // of compressed files that are read
    std::string module_path = {};             // empty: VORDTA_MODULE, beside the program, library directory, run path
};

// The module ended the task in the middle of an operation: thrown through the operation to its caller. The object can
// still be closed and deleted.
class TaskExit : public ConversionError {
  public:
    TaskExit(int code, const std::string &said); // said: the failure's lines; empty for none
    int code() const { return code_; }

  private:
    int code_;
};

// The sentence of a host return code, for codes that come without a word in the log.
std::string return_code_text(int code);

// One host. Not copied, not used from two threads at once. The module's objects must not outlive it.
//
// A program holds one copy of the module, and the module works with one host at a time: the current one. A host becomes
// current by control_block, load_module, use_module, new_object, delete_object and make_current; the first one is so
// from the start. Who drives objects of several hosts in turn calls make_current before each turn.
class Host {
  public:
    explicit Host(HostOptions options); // ConversionError (usage) for an unknown session encoding
    ~Host();
    Host(const Host &) = delete;
    Host &operator=(const Host &) = delete;

    // The control block for a module that is connected by hand. Lives as long as the host.
    GCB *control_block();

    // Makes this the host that the module's objects work with. Costs nothing when it is already.
    void make_current();

    // Loads the module from its file and connects it; ConversionError (machine) names the file and what is missing.
    void load_module();

    // Connects a module linked into the program in place of a loaded one. Without a connection entry the caller has
    // connected it by hand.
    using Constructor = int (*)(IMGLUE **);
    using Connection = const IMAGE_INFORMATION *(*)(GCB *, void *);
    void use_module(Constructor constructor, Connection connection = nullptr);

    // A new access object of the loaded module. ConversionError when the module refuses: usage with what it said (such
    // as an unknown encoding), machine when there is no memory.
    IMGLUE *new_object();

    // Ends an object: its delete slot, then the record. Logs how often messages came that are said once per variable.
    void delete_object(IMGLUE *object);

    // Gives a byte stream a logical name of at most 8 characters, as if it had been assigned by the user: reading and
    // writing through it go to `file`, which is read or written from front to back, opened at most once, and never
    // asked for its size.
    void assign_reference(const std::string &logical_name, std::unique_ptr<ByteFile> file);

    // What the module and the services said about a failure since the last call: error lines and lines without a
    // level, each once, joined into one sentence (empty: nothing was said), with the first error of the system (no
    // space, no permission), which the sentence does not repeat. Clears it. After a success the text holds remarks,
    // such as a user format that was left out.
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

    // The same of a text in the label encoding.
    Decoded decode_label(std::string_view bytes, std::string &scratch) const;

    // Encodes UTF-8 in the session encoding; characters it does not have become '?' and are counted in *replaced.
    std::string encode(std::string_view utf8, int *replaced = nullptr) const;

    const HostOptions &options() const;

    // Blocks and files that the module still holds; 0 after the last object has been deleted. Blocks that the module
    // leaves to the host by contract (an object's record, its statement options, parse-control records) end with the
    // object and the last object.
    size_t blocks_in_use() const;
    size_t files_open() const;

  private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace vor
