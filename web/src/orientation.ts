// A JPEG of 2 by 1 pixels whose Exif segment says that it is turned by a quarter.
const picture =
  'data:image/jpeg;base64,/9j/4QAiRXhpZgAATU0AKgAAAAgAAQESAAMAAAABAAYAAAAAAAD/2wBDABsSFBcUERsXFhceHBsgKEIrKCUlKFE6PTBCYFVlZF9VXVtqeJmBanGQc1tdhbWGkJ6jq62rZ4C8ybqmx5moq6T/wAALCAABAAIBAREA/8QAFAABAAAAAAAAAAAAAAAAAAAAAf/EABQQAQAAAAAAAAAAAAAAAAAAAAD/2gAIAQEAAD8AH//Z';

/** Whether this browser turns a JPEG by the first Exif segment, as the server's pictures need it. */
export async function turnsByExif(): Promise<boolean> {
  const image = new Image();
  image.src = picture;
  try {
    await image.decode();
  } catch {
    return false;
  }
  return image.naturalWidth === 1 && image.naturalHeight === 2;
}
