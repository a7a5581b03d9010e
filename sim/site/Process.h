#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "ScopedFolder.h"

/// A program of ours, run with its output in files. It is killed if it still runs at the end.
class Process {
  public:
    /// Descriptors for the program's standard input and output; -1 leaves them as they are otherwise.
    struct Streams {
        int mInput = -1;
        int mOutput = -1;
    };

    /// Runs build/.../bin/`program`; `folder` takes its output.
    Process(const ScopedFolder& folder, const std::string& program,
            const std::vector<std::string>& arguments);

    /// Runs the command `words`; its output's files are called `name`.
    Process(const ScopedFolder& folder, const std::string& name, std::vector<std::string> words,
            const Streams& streams);

    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    std::string Output() const { return ContentOf(mOutput); }
    std::string Errors() const { return ContentOf(mErrors); }

    /// The file with the standard output, which grows while the process runs.
    const std::string& OutputPath() const { return mOutput; }

    /// Waits until `text` stands in the standard output and gives what follows it on its line. Throws where
    /// the process ends, or twenty seconds pass, before.
    std::string WaitForOutput(const std::string& text);

    /// Nothing happens where the process has ended.
    void Signal(int signal);

    /// What the running program holds of the machine.
    struct Holdings {
        std::size_t mDescriptors = 0;
        long mResidentKib = 0;
    };
    Holdings Usage() const;

    /// The exit status, or minus the number of the signal that ended it. Throws after twenty seconds.
    int WaitForEnd();

  private:
    bool HasEnded(int& status);

    std::string mOutput;
    std::string mErrors;
    pid_t mPid = -1;
    bool mEnded = false;
    int mStatus = 0;
};
