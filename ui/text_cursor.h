/**
 * Blinking of the text cursor of the focused text field. With full-screen rendering every blink
 * redraws the whole window, so the cursor rests (shown, not blinking) while the user is away.
 */
#pragma once

/* Lets the focused field's cursor blink (true) or rest, shown (false); cheap to call on every
 * tick. */
void text_cursor_set_blinking(bool blinking);

/* Forgets the fields seen so far (a new screen was built). */
void text_cursor_reset();
