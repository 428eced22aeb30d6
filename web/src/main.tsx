import { render } from 'preact';
import { askForUprightPictures } from './api';
import { App } from './app';
import { turnsByExif } from './orientation';
import { startNavigation } from './route';
import { language } from './text';

document.documentElement.lang = language;
startNavigation();
void turnsByExif().then((turns) => {
  if (!turns) askForUprightPictures();
  render(<App />, document.getElementById('app')!);
});
