#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include <TLX/Export.h>

namespace TLX::Language_Support {

class VX_EXPORT CLanguageSupport {
 public:
  // A module's messages: those that are built in, and the name under which a host that has them in
  // other languages keeps its file. Plain data: nothing is opened, and a module ships no such file.
  struct CLngFile {
    CLngFile(std::string fileName, unsigned int languageCode, std::string encoding,
             unsigned int firstMessage, std::vector<std::string> defaultMessages,
             std::size_t messageCount);

    std::string m_FileName;
    unsigned int m_LanguageCode;  // two letters: first x 256 + second
    std::string m_Encoding;
    unsigned int m_FirstMessage;
    std::vector<std::string> m_DefaultMessages;
    std::size_t m_MessageCount;
  };

  struct ERROR_MSG {
    unsigned int m_Code = 0;
    unsigned int m_Message = 0;
    unsigned int m_Severity = 0;
    unsigned int m_Flags = 0;
  };
  using ERROR_MSG_LIST = std::vector<ERROR_MSG>;
};

}  // namespace TLX::Language_Support
