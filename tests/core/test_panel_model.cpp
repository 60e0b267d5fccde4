/* The headless parameter panel: a text written into an entry is checked once, whole, against the
 * limits the screen's panel uses. */
#include "params/panel_model.h"
#include "tests/core/core_test_support.h"

namespace {

class PanelModelTest : public CoreFixture {
  protected:
    void SetUp() override {
        CoreFixture::SetUp();
        lang_set_chinese(0);
        params_load_defaults();
        fake_screen_install(true);
        panel_model_reset();
    }
    void TearDown() override {
        fake_screen_install();
        CoreFixture::TearDown();
    }
    static std::string text(PanelEntry e) {
        char buf[32];
        panel_get_text(e, buf, sizeof buf);
        return buf;
    }
};

TEST_F(PanelModelTest,
       a_text_within_the_limits_stays_and_a_refused_one_leaves_the_restored_value_and_one_range_message) {
    int32_t working[PARAM_COUNT] = {};
    working[PARAM_MIN_ANGLE] = 700; /* the working value the angle entries go back to */
    params_set_working(working);
    struct Case {
        PanelEntry entry;
        const char* written;
        const char* kept;
        const char* message; /* "" = kept as written */
    };
    const Case cases[] = {
        {PanelEntry::Gain, "256", "65", "Please enter a number between 0 and 255"},
        {PanelEntry::Stall1Time, "10100", "300", "Please enter a number between 0 and 10000"}, /* default in ms */
        {PanelEntry::SoftStart, "0200", "1", "Please enter a number between 0 and 255"},       /* in range, too long */
        {PanelEntry::MinAngle, "01000", "700", "Please enter a number between 0 and 4096"},
        {PanelEntry::MaxPulse, "4096", "4096", ""},
        {PanelEntry::Stall2Time, "10000", "10000", ""},
        {PanelEntry::Damping, "", "", ""},
    };
    for (const Case& c : cases) {
        fake_prompts().clear();
        panel_model_clear_writes();
        panel_set_text(c.entry, c.written);
        EXPECT_EQ(panel_model_writes(c.entry), 1); /* a refused value still reached its entry */
        EXPECT_EQ(text(c.entry), c.kept) << c.written;
        EXPECT_EQ(prompt_texts(), *c.message ? std::vector<std::string>{c.message} : std::vector<std::string>{})
            << c.written;
    }
}

} // namespace
