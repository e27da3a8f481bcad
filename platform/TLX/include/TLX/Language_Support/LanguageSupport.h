#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include <TLX/Export.h>

namespace TLX::Language_Support {

// What a module says about its messages, for hosts that show them in several languages. Two
// records, made once with the module and not changed after that; the module owns them and they live
// as long as it is loaded. Constructing throws for lack of memory only. [any thread]
class VX_EXPORT CLanguageSupport {
 public:
  // A module's messages: those that are built in, and the name under which a host that has them in
  // other languages keeps its file. Plain data: nothing is opened, and a module ships no such file.
  struct CLngFile {
    // The members in their order.
    CLngFile(std::string fileName, unsigned int languageCode, std::string encoding,
             unsigned int firstMessage, std::vector<std::string> defaultMessages,
             std::size_t messageCount);

    // Without a directory: where such files lie is the host's.
    std::string m_FileName;
    // Of the built-in messages: two letters, first x 256 + second.
    unsigned int m_LanguageCode;
    // Of the built-in messages: "utf-8".
    std::string m_Encoding;
    // Number of the first message; the others follow it.
    unsigned int m_FirstMessage;
    // What is shown where no file has the message.
    std::vector<std::string> m_DefaultMessages;
    // How many the module has; normally the length of the list.
    std::size_t m_MessageCount;
  };

  // Which message belongs to an error of the module.
  struct ERROR_MSG {
    // The module's id in the bits 16 to 27, its own number of the error below.
    unsigned int m_Code = 0;
    // Number of the message in the module's file, counted as there; 0: none.
    unsigned int m_Message = 0;
    // As of events, one of the severities that the plug-in interface names; 0: the module names
    // none.
    unsigned int m_Severity = 0;
    // The host's to use; a module leaves them 0.
    unsigned int m_Flags = 0;
  };
  using ERROR_MSG_LIST = std::vector<ERROR_MSG>;
};

}  // namespace TLX::Language_Support
