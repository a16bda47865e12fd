// The runner's printing steps: the user's print through the host's own print
// command, Word's background print held busy and let go, leaving the File view,
// and the expectations on what went to the printer, the host's window and its
// print page.
#include "addin/addin_module.h"
#include "hostsim/host.h"
#include "sim/document_view.h"
#include "sim/runner_support.h"
#include "sim/scenario_runner.h"

namespace quillorn::sim {

using namespace runner;

namespace {

std::string DescribeCopy(const hostsim::DocumentModel& copy) {
  const std::string stamp = StampWord(copy);
  return (stamp.empty() ? std::string("without a stamp") : "stamped " + Quote(stamp)) +
         (IsProtected(copy) ? ", protected" : ", unprotected");
}

std::string DescribeWindow(hostsim::SimHost& host) {
  if (!host.visible) return "hidden";
  return host.window_state == 2 ? "minimised" : "shown";
}

}  // namespace

void ScenarioRunner::Print(const ScenarioStep& step) {
  ExpectCount(step, 2, "print FILE");
  const OpenDocument open = FindOpen(step.words[1].text);
  SimInstance& instance = *open.instance;
  hostsim::SimHost& host = instance.Host();
  const std::string name = hostsim::FileNameOf(open.doc->full_name);
  DeliverAnswers(instance);
  const bool fromPrintPage = host.print_page_shown;
  const std::size_t before = host.Prints().size();
  const bool printed = instance.Print(open.doc);
  sim_.Settle();
  if (printed && host.Prints().size() > before) {
    Say("The user prints " + Quote(name) + " in " + instance.Name() + ": it goes to the printer " +
        DescribeCopy(*host.Prints().back().as_printed) + ".");
  } else {
    Say("The user prints " + Quote(name) + " in " + instance.Name() + ": the add-in stops the print.");
  }
  if (!fromPrintPage || host.HasQuit()) return;
  // From 2010 the File view closes by itself once it has printed; 2007's print
  // dialog or preview just goes.
  if (instance.OfficeVersion() > 2007 && instance.Loaded()) {
    instance.LeaveBackstage();
    sim_.Settle();
    Say("  The File view closes after the print; " + instance.Name() + "'s window is " + DescribeWindow(host) + ".");
  } else {
    host.print_page_shown = false;
  }
}

bool ScenarioRunner::PrintStep(const ScenarioStep& step) {
  if (Is(step, 0, "hold") || Is(step, 0, "release")) {
    const bool hold = Is(step, 0, "hold");
    const char* usage = hold ? "hold HOST printing" : "release HOST printing";
    ExpectCount(step, 3, usage);
    if (!Is(step, 2, "printing")) BadScript(std::string("usage: ") + usage);
    SimInstance& instance = sim_.Instance(foundation::LowerCase(step.words[1].text));
    if (instance.Kind() != platform::HostType::ohaWord) Failed("only Word tells of print jobs in the background");
    instance.Host().background_printing = hold ? 1 : 0;
    Say(hold ? instance.Name() + " is still spooling a print job in the background (BackgroundPrintingStatus 1)."
             : instance.Name() + "'s background print job has gone to the printer (BackgroundPrintingStatus 0).");
    return true;
  }
  if (Is(step, 0, "leave")) {
    ExpectCount(step, 3, "leave HOST backstage");
    if (!Is(step, 2, "backstage")) BadScript("usage: leave HOST backstage");
    SimInstance& instance = sim_.Instance(foundation::LowerCase(step.words[1].text));
    if (instance.OfficeVersion() == 2007) Failed(instance.Name() + " is Office 2007, which has no File view to leave");
    DeliverAnswers(instance);
    instance.LeaveBackstage();
    sim_.Settle();
    Say("The user leaves the File view in " + instance.Name() + ": its window is " + DescribeWindow(instance.Host()) +
        ".");
    return true;
  }
  return false;
}

bool ScenarioRunner::ExpectPrinting(const ScenarioStep& step) {
  if (Is(step, 1, "printed")) {
    const char* usage = "expect printed FILE stamp \"WORD\"|none [protected true|false]";
    if ((step.words.size() != 5 && step.words.size() != 7) || !Is(step, 3, "stamp")) BadScript(std::string("usage: ") + usage);
    const std::string path = FilePath(step.words[2].text);
    const hostsim::SimHost::PrintedCopy* last = nullptr;
    for (const std::string& name : sim_.RunningHosts()) {
      for (const auto& copy : sim_.Instance(name).Host().Prints()) {
        if (foundation::SameText(copy.full_name, path)) last = &copy;
      }
    }
    if (last == nullptr) Failed("nothing of " + step.words[2].text + " was printed in a running host");
    const std::string want = Is(step, 4, "none") ? std::string() : step.words[4].text;
    const std::string got = StampWord(*last->as_printed);
    if (got != want) {
      Failed("expected the last print of " + step.words[2].text + " to be " +
             (want.empty() ? "without a stamp" : "stamped " + Quote(want)) + ", but it was " +
             (got.empty() ? "without one" : "stamped " + Quote(got)));
    }
    if (step.words.size() == 7) {
      if (!Is(step, 5, "protected") || !(Is(step, 6, "true") || Is(step, 6, "false"))) BadScript(std::string("usage: ") + usage);
      const bool wantProtected = Is(step, 6, "true");
      if (IsProtected(*last->as_printed) != wantProtected) {
        Failed("expected the last print of " + step.words[2].text + " to be " +
               (wantProtected ? "protected" : "unprotected") + " as it printed, but it was not");
      }
    }
    Say("As expected, the last print of " + step.words[2].text + " was " + DescribeCopy(*last->as_printed) + ".");
  } else if (Is(step, 1, "open")) {
    const char* usage = "expect open FILE true|false";
    ExpectCount(step, 4, usage);
    if (!Is(step, 3, "true") && !Is(step, 3, "false")) BadScript(std::string("usage: ") + usage);
    const bool want = Is(step, 3, "true");
    const std::string path = FilePath(step.words[2].text);
    std::string holder;
    for (const std::string& name : sim_.RunningHosts()) {
      if (sim_.Instance(name).Find(path)) holder = name;
    }
    if (holder.empty() == want) {
      Failed("expected " + step.words[2].text + (want ? " to be open, but no running host has it" : " to be closed, but " + holder + " has it open"));
    }
    Say("As expected, " + step.words[2].text + (want ? " is open in " + holder + "." : " is closed."));
  } else if (Is(step, 1, "window") || Is(step, 1, "print-page")) {
    const bool window = Is(step, 1, "window");
    const char* usage = window ? "expect window HOST shown|hidden|minimised" : "expect print-page HOST shown|hidden";
    ExpectCount(step, 4, usage);
    const std::string want = foundation::LowerCase(step.words[3].text);
    if (step.words[3].quoted || (want != "shown" && want != "hidden" && (!window || want != "minimised"))) {
      BadScript(std::string("usage: ") + usage);
    }
    const std::string name = foundation::LowerCase(step.words[2].text);
    hostsim::SimHost& host = sim_.Instance(name).Host();
    const std::string got = window ? DescribeWindow(host) : host.print_page_shown ? "shown" : "hidden";
    const std::string what = window ? name + "'s window" : name + "'s print page";
    if (got != want) Failed("expected " + what + " to be " + want + ", but it is " + got);
    Say("As expected, " + what + " is " + got + ".");
  } else {
    return false;
  }
  return true;
}

}  // namespace quillorn::sim
