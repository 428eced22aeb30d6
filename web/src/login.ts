// The page for the six digits. Without a script the form posts by itself; with it, a wrong number is said in place.
import { language, text } from './text';

document.documentElement.lang = language;
document.title = text.loginTitle;
const set = (id: string, words: string) => (document.getElementById(id)!.textContent = words);
set('title', text.loginTitle);
set('note', text.loginNote);
set('digits-label', text.digits);
set('enter', text.enter);

const form = document.querySelector('form')!;
const field = document.querySelector<HTMLInputElement>('#digits')!;
const message = document.getElementById('message')!;

field.addEventListener('input', () => {
  field.value = field.value.replace(/\D/g, '').slice(0, 6);
  if (field.value.length === 6) form.requestSubmit();
});

// The server fills in both: what became of a try without script, and where to go after a login.
const to = form.querySelector<HTMLInputElement>('input[name=to]')!.value;
if (form.dataset.state === 'wrong') message.textContent = text.wrongDigits;
if (form.dataset.state === 'later') message.textContent = text.tooOften;

form.addEventListener('submit', (event) => {
  event.preventDefault();
  message.textContent = '';
  void send();
});

async function send(): Promise<void> {
  const body = new URLSearchParams({ digits: field.value, to });
  try {
    const response = await fetch('/login', { method: 'POST', body, credentials: 'same-origin' });
    if (response.ok) return location.replace(/^\/(?![/\\])/.test(to) ? to : '/');
    message.textContent = response.status === 429 ? text.tooOften : text.wrongDigits;
  } catch {
    message.textContent = text.serverAway;
  }
  field.select();
}
