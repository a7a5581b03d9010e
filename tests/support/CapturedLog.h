#pragma once

#include <cstdio>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Audit.h"

/// Takes the log over for the length of a test: messages of all kinds are kept, without their stamps. Any
/// thread may log.
class CapturedLog {
  public:
    CapturedLog() {
        auto recorder = std::make_unique<Recorder>(mLines);
        Audit::SetInstance(std::move(recorder));
    }
    ~CapturedLog() { Audit::DestroyInstance(); }
    CapturedLog(const CapturedLog&) = delete;
    CapturedLog& operator=(const CapturedLog&) = delete;

    void Enable(Feature feature) { Audit::Instance().SetLevel(feature, true); }

    std::vector<std::string> Lines() const {
        const std::lock_guard<std::mutex> lock(mLines.mMutex);
        return mLines.mTexts;
    }

    /// How many lines contain `text`.
    std::size_t Count(const std::string& text) const {
        std::size_t count = 0;
        for (const std::string& line : Lines()) {
            count += line.find(text) != std::string::npos ? 1 : 0;
        }
        return count;
    }

  private:
    struct LineStore {
        mutable std::mutex mMutex;
        std::vector<std::string> mTexts;
    };

    class Recorder : public Audit {
      public:
        explicit Recorder(LineStore& lines) : mLines(lines) {}

      protected:
        void OutputFlaggedV(unsigned /*flags*/, const char* format, std::va_list arguments) override
            __attribute__((format(printf, 3, 0))) {
            OutputV(format, arguments);
        }
        void OutputV(const char* format, std::va_list arguments) override
            __attribute__((format(printf, 2, 0))) {
            char text[4096];
            std::vsnprintf(text, sizeof text, format, arguments);
            const std::lock_guard<std::mutex> lock(mLines.mMutex);
            mLines.mTexts.emplace_back(text);
        }

      private:
        LineStore& mLines;
    };

    LineStore mLines;
};
