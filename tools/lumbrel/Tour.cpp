// `lumbrel tour`: the life of a program that uses the library, step by step,
// with every file shown as the library left it.
#include <lumbrel/lumbrel.h>

#include <ctime>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <sstream>

#include "Commands.h"

namespace lumbrel_tool {
namespace {

using Lumbrel::DataFile;
using Lumbrel::File;
using Lumbrel::make_string;
using Lumbrel::make_wstring;
using Lumbrel::wstring;

void heading(int number, const std::string& title) {
  std::cout << '\n' << number << ". " << title << '\n';
}

void showPath(const File::Path& path) {
  std::cout << "     volume     " << make_string(path.getVolume()) << '\n'
            << "     directory  " << make_string(path.getDirectory()) << '\n'
            << "     name       " << make_string(path.getName()) << '\n';
}

// The bytes of a closed file, read through the library's own File.
std::string contentOf(const wstring& name) {
  File file(name);
  file.open(File::MODE_READ | File::MODE_BINARY);
  std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  file.close();
  return bytes;
}

void showText(const std::string& label, const wstring& name) {
  const std::string bytes = contentOf(name);
  std::cout << "   " << label << " after close (" << bytes.size() << " bytes):\n";
  std::istringstream lines(bytes);
  for (std::string line; std::getline(lines, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();  // Windows' text line end
    std::cout << "     | " << line << '\n';
  }
}

void showHex(const std::string& label, const wstring& name) {
  const std::string bytes = contentOf(name);
  std::cout << "   " << label << " after close (" << bytes.size() << " bytes):\n";
  const char* const digits = "0123456789abcdef";
  for (std::size_t row = 0; row < bytes.size(); row += 16) {
    std::cout << "     | ";
    for (int shift = 12; shift >= 0; shift -= 4) std::cout << digits[(row >> shift) & 0xF];
    std::cout << ' ';
    for (std::size_t i = row; i < row + 16 && i < bytes.size(); ++i) {
      const auto byte = static_cast<unsigned char>(bytes[i]);
      std::cout << ' ' << digits[byte >> 4] << digits[byte & 0xF];
    }
    std::cout << '\n';
  }
}

// The present moment as the log writes it.
std::string stamp() {
  return static_cast<std::string>(Lumbrel::DateTime(static_cast<long>(std::time(nullptr)), 3));
}

// Writes one line to a log shared with the main thread, under the file's own
// lock, and then says so through an event.
class LogWorker : public Lumbrel::Thread {
 public:
  LogWorker(Lumbrel::LogFile& target, Lumbrel::Event& finished) : logFile_(target), done_(finished) {}

 protected:
  void* run(void* argument) override {
    {
      Lumbrel::FileLock hold(logFile_);
      logFile_ << stamp() << " worker thread " << Lumbrel::Thread::getCurrentThreadId()
              << " wrote this line\n";
    }
    done_.signal();
    return argument;
  }

 private:
  Lumbrel::LogFile& logFile_;
  Lumbrel::Event& done_;
};

std::string show(const wstring& value) {
  return value.empty() ? std::string("(empty)") : make_string(value);
}

// A new folder under the system's temporary folder, named after a fresh Uuid.
std::filesystem::path newTemporaryFolder() {
  const std::filesystem::path base = std::filesystem::temp_directory_path();
  for (;;) {
    const std::string id = static_cast<std::string>(Lumbrel::Uuid()).substr(0, 8);
    const std::filesystem::path folder = base / ("lumbrel-tour-" + id);
    if (std::filesystem::create_directory(folder)) return folder;
  }
}

}  // namespace

int runTour(const Invocation& invocation) {
  const Lumbrel::Timer timer;
  std::filesystem::path folder;
  if (invocation.operands.empty()) {
    folder = newTemporaryFolder();
  } else {
    fileNameOf(invocation.operands[0]);  // refuses what the library could not name
    folder = std::filesystem::absolute(std::filesystem::u8path(invocation.operands[0]))
                 .lexically_normal();
    std::filesystem::create_directories(folder);
  }
  std::string native = folder.u8string();
  if (native.size() > 1 && (native.back() == '/' || native.back() == '\\')) native.pop_back();
  const std::string base = fileNameOf(native) + "\\";
  std::cout << "A tour of lumbrelcommon in " << native << '\n';

  heading(1, "Paths (File::Path)");
  const File::Path beside("settings.ini");
  std::cout << "   File::Path(\"settings.ini\") is anchored at the program, not at the working\n"
            << "   directory: " << beside << '\n';
  showPath(beside);
  const wstring settingsName = make_wstring(base + "settings.ini");
  const wstring propertiesName = make_wstring(base + "app.properties");
  const wstring recordsName = make_wstring(base + "records.dat");
  const wstring logName = make_wstring(base + "run.log");
  const File::Path settingsPath(settingsName);
  std::cout << "   The tour names its files from its folder instead:\n   " << settingsPath << '\n';
  showPath(settingsPath);
  if (native[0] == '/')
    std::cout << "   On Linux every volume names the root: this is " << native << "/settings.ini\n";
  for (const wstring& name : {settingsName, propertiesName, recordsName, logName}) {
    File::remove(name);  // a fresh start when DIR was used before
  }

  heading(2, "A sectioned settings file (InitializationFile)");
  {
    Lumbrel::InitializationFile settings(settingsPath);
    settings.open(File::MODE_READ | File::MODE_WRITE);
    settings.setValue(make_wstring("Window"), make_wstring("width"), make_wstring("800"));
    settings.setValue(make_wstring("Window"), make_wstring("height"), make_wstring("600"));
    settings.setValue(make_wstring("Recent"), make_wstring("file1"), make_wstring("report.txt"));
    settings.setValue(make_wstring("window"), make_wstring("Title"),
                      make_wstring("Gr\xC3\xBC\xC3\x9F" "e \xE2\x82\xAC"));
    std::cout << "   set width, height, Title in [Window] and file1 in [Recent], then close\n";
    settings.close();
  }
  showText("settings.ini", settingsName);
  {
    Lumbrel::InitializationFile settings(settingsPath);
    settings.open(File::MODE_READ);
    std::cout << "   read back: [WINDOW] WIDTH = "
              << show(settings.getValue(make_wstring("WINDOW"), make_wstring("WIDTH")))
              << "  (names match without regard to case)\n"
              << "   absent:    [Window] depth = "
              << show(settings.getValue(make_wstring("Window"), make_wstring("depth"))) << '\n';
    settings.close();
  }

  heading(3, "A flat settings file (PropertyFile)");
  {
    Lumbrel::PropertyFile properties{File::Path(propertiesName)};
    properties.open(File::MODE_READ | File::MODE_WRITE);
    properties.setValue(make_wstring("server"), make_wstring("example.org"));
    properties.setValue(make_wstring("port"), make_wstring("8080"));
    properties.setValue(make_wstring("retries"), make_wstring("3"));
    properties.setValue(make_wstring("PORT"), make_wstring("8443"));
    std::cout << "   set server, port, retries, then PORT=8443 (the same key), then close\n";
    properties.close();
  }
  showText("app.properties", propertiesName);
  {
    Lumbrel::PropertyFile properties{File::Path(propertiesName)};
    properties.open(File::MODE_READ);
    std::cout << "   read back: " << properties.enumerateKeys().size() << " keys, port = "
              << show(properties.getValue(make_wstring("port"))) << '\n';
    properties.close();
  }

  heading(4, "A data file of keyed records (DataFile)");
  {
    DataFile records{File::Path(recordsName)};
    records.open(File::MODE_READ | File::MODE_WRITE);
    records.insert(DataFile::Record(make_wstring("greeting"), {'h', 'e', 'l', 'l', 'o'}));
    records.insert(DataFile::Record(make_wstring("Gr\xC3\xB6\xC3\x9F" "e"), {0x00, 0x0A, 0xFF}));
    records.insert(DataFile::Record(make_wstring("GREETING"), {'i', 'g', 'n', 'o', 'r', 'e', 'd'}));
    std::cout << "   inserted \"greeting\" (5 bytes) and \"Gr\xC3\xB6\xC3\x9F" "e\" (00 0a ff), then "
              << "\"GREETING\",\n   the same key, which insert ignores: " << records.size()
              << " records. Close writes them.\n";
    records.close();
  }
  showHex("records.dat", recordsName);
  std::cout << "     (per record: key length, little-endian; key units, big-endian; data\n"
            << "      length, little-endian; data)\n";
  {
    DataFile records{File::Path(recordsName)};
    records.open(File::MODE_READ);
    std::cout << "   read back, as `lumbrel data dump` shows them:\n";
    for (unsigned long index = 0; index < records.size(); ++index) {
      const DataFile::Record& record = records[index];
      std::cout << "     | " << dumpLine({record.getKey(), record.getData()});
    }
    records.close();
  }

  heading(5, "A log file shared with a worker thread (LogFile, Thread, Event)");
  {
    Lumbrel::LogFile log{File::Path(logName)};
    log.open(static_cast<unsigned int>(File::MODE_READ | File::MODE_WRITE));
    const unsigned long mainThread = Lumbrel::Thread::getCurrentThreadId();
    log << stamp() << " main thread " << mainThread << " started the tour\n";
    Lumbrel::Event finished;
    LogWorker worker(log, finished);
    int token = 0;
    if (!worker.start(&token)) throw ToolError("cannot start a thread");
    const long waited = finished.wait(10);
    const void* const result = worker.join();
    {
      Lumbrel::FileLock hold(log);
      log << stamp() << " main thread " << mainThread << " saw the worker finish\n";
    }
    log.close();
    log.open(static_cast<unsigned int>(File::MODE_READ | File::MODE_WRITE));
    log << stamp() << " opened again: new lines go behind the old\n";
    log.close();
    std::cout << "   Main thread " << mainThread << " opened run.log for appending and wrote a line.\n"
              << "   Worker thread " << worker.getThreadId()
              << " wrote one under a FileLock (the file's Mutex) and\n"
              << "   signalled an Event; the main thread's wait(10) gave " << waited
              << (waited == 0 ? " (signalled)" : " (not signalled)") << " and join\n"
              << "   gave back " << (result == &token ? "run's argument" : "something else")
              << ". Then the log was closed, opened again with the\n"
              << "   read and write bits, and given one more line.\n";
  }
  showText("run.log", logName);

  heading(6, "Values (DateTime, Uuid)");
  const Lumbrel::DateTime now(static_cast<long>(std::time(nullptr)), 3);
  std::cout << "   now:                 " << static_cast<std::string>(now)
            << "  (" << static_cast<long>(now) << " seconds since the epoch)\n";
  const Lumbrel::DateTime parsed(std::string("2004-03-09 07:05:02"), 3);
  std::cout << "   parsed:              " << static_cast<std::string>(parsed) << "  (date part: "
            << static_cast<std::string>(Lumbrel::DateTime(std::string("2004-03-09"), 1)) << ")\n";
  const Lumbrel::Uuid id;
  std::cout << "   a fresh Uuid:        " << static_cast<std::string>(id) << '\n'
            << "   read from its text:  "
            << (Lumbrel::Uuid(static_cast<std::string>(id)) == id ? "equal" : "different") << '\n';

  heading(7, "The host (System)");
  std::cout << "   computer name:       " << show(Lumbrel::System::getName()) << '\n'
            << "   IP host name:        " << show(Lumbrel::System::getIpHostName()) << '\n'
            << "   IP address:          " << show(Lumbrel::System::getIpAddress()) << '\n'
            << "   program file:        " << show(Lumbrel::System::getProcessFileName()) << '\n';

  heading(8, "A library loaded at run time (DynamicLibrary)");
  {
    Lumbrel::DynamicLibrary math(make_wstring("libm.so.6"));
    if (!math.load()) {
      std::cout << "   libm.so.6 could not be loaded\n";
    } else if (const Lumbrel::DynamicLibrary::Symbol symbol = math.getSymbol(make_wstring("cos"))) {
      // The loader hands out one pointer type; the real signature is the caller's to know.
      const auto cosine =
          reinterpret_cast<double (*)(double)>(reinterpret_cast<void (*)()>(symbol));
      std::ostringstream value;
      value << cosine(0.5);
      std::cout << "   loaded libm.so.6 and found cos: cos(0.5) = " << value.str() << '\n';
    } else {
      std::cout << "   libm.so.6 has no cos\n";
    }
    std::cout << "   unload: " << (math.unload() ? "done" : "failed") << '\n';
  }

  heading(9, "A stopwatch (Timer)");
  std::ostringstream elapsed;
  elapsed << timer;
  std::cout << "   made at the start of the tour, at " << timer.getSeconds() << " s and "
            << timer.getMilliseconds() << " ms since the epoch;\n"
            << "   printed now it shows the seconds since then: " << elapsed.str() << '\n';

  std::cout << "\nTour complete: 4 files in " << native << ", " << elapsed.str() << " s.\n";
  return kStatusOk;
}

}  // namespace lumbrel_tool
