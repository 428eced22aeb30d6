import { launch, newPage, phone, desktop, until, untilTiles, untilPhoto, openViewer, visibleIds, swipe, pinch, tileCenter, untilClosed } from './support.mjs';
import { readFileSync, renameSync } from 'node:fs';
const [key, digits] = readFileSync('/tmp/web2/home/config/MoxtelServer/web-access','utf8').split('\n');
const A='http://127.0.0.1:29511';
const b = await launch('chromium');
const log=(...a)=>console.log(...a);
const wait=(ms=700)=>new Promise(r=>setTimeout(r,ms));
let tag; let p;
const shot=async(n)=>{ await p.screenshot({path:`/tmp/web2/shots/b-${tag}-${n}.png`}); };
const step=async(name,f)=>{ try{ const r=await f(); log('ok',tag,name,r===undefined?'':JSON.stringify(r)); }catch(e){ log('FAIL',tag,name,e.message.slice(0,200)); await shot('FAIL-'+name.replace(/\W/g,'_')); } };
const api=(path)=>p.evaluate(async(u)=>(await (await fetch(u)).json()),path);
async function run(t, view, language, dark){
  tag=t; p=await newPage(b,view,{language,dark}); const touch=view.hasTouch;
  await p.goto(A+'/in/'+key); await p.waitForSelector('.library-card');
  const libs=(await api('/api/1/libraries')).libraries; log(libs.map(l=>l.name+':'+l.kind).join(' '));
  const L='/l/'+libs.find(l=>l.name==='Familie').id, AP='/l/'+libs.find(l=>l.kind==='Aperture').id;
  await wait(1500); await p.reload(); await wait(1500); await shot('libraries');
  await step('projects', async()=>{ await p.goto(A+AP+'/events'); await wait(1200); await shot('projects'); return p.$$eval('.group',x=>x.map(g=>g.textContent)); });
  await step('facesplain', async()=>{ // find a photo with rect
    const people=(await api(L+'/api/1/people')).people; const list=people[1].list; const s=await api(L+`/api/1/list/${list}`); const pg=await api(L+`/api/1/list/${list}/0?v=${s.version}`); let id=0, hit=0; for(const d of pg.id){ id+=d; const f=await api(L+`/api/1/photo/${id}`); if(f.people.some(q=>q.rect)&&f.position){hit=id;break;} }
    await p.goto(A+L+`/list/${list}/photo/${hit}`); await untilPhoto(p,hit); await wait(); await p.click('.pswp__button--faces'); await wait(); await shot('faces'); await p.keyboard.press('i'); await wait(); await shot('info'); const labels=await p.$$eval('.face-box',x=>x.map(i=>i.textContent+JSON.stringify(i.getBoundingClientRect().toJSON()))); const map=await p.$$eval('.info a[href*=openstreet]',x=>x.map(a=>a.href+' '+a.rel+' '+a.target)); await p.keyboard.press('i'); return [hit,labels,map]; });
  await step('double tap/zoom', async()=>{ const s=await api(L+'/api/1/list/all'); await p.goto(A+L+'/list/all/photo/2'); await untilPhoto(p,2); await wait(); const w=()=>p.evaluate(()=>document.querySelector('.pswp__item[aria-hidden="false"] .pswp__img:last-child').getBoundingClientRect().width); const a=await w(); const {x,y}={x:view.width/2,y:view.height/2}; if(touch){ await p.touchscreen.tap(x,y); await p.touchscreen.tap(x,y);} else { await p.mouse.click(x,y);} await wait(); const z=await w(); if(!touch){ await p.mouse.move(x,y); await p.mouse.wheel({deltaY:-300}); await wait(); } return [a,z,await w()]; });
  await step('swipe down closes', async()=>{ if(!touch) return 'n/a'; await p.goto(A+L+'/list/all/photo/2'); await untilPhoto(p,2); await wait(); const tt=await p.touchscreen.touchStart(195,300); for(let i=1;i<=8;i++) await tt.move(195,300+40*i); await tt.end(); await untilClosed(p); return p.url(); });
  await step('movie', async()=>{ await p.goto(A+L+'/list/movies'); await untilTiles(p); const [id]=await visibleIds(p); await openViewer(p,id); await wait(1500); await shot('movie0'); const play=await p.$('.pswp__item[aria-hidden="false"] .play'); if(play){ await (touch?play.tap():play.click()); await wait(900); await shot('movie1'); } await until(p,()=>document.querySelector('.pswp__item[aria-hidden="false"] video')?.readyState>=1); await wait(1000); await shot('movie2'); return p.evaluate(()=>{const v=document.querySelector('video'); return [v.currentTime,v.duration,v.src];}); });
  await step('slideshow from list', async()=>{ await p.goto(A+L+'/list/flagged'); await untilTiles(p); await p.click('.head .tool[aria-label="'+(language.startsWith('de')?'Diaschau':'Slideshow')+'"]'); await wait(1500); const u1=p.url(); await wait(4500); await shot('slideshow'); const u2=p.url(); await p.keyboard.press('Escape'); await untilClosed(p); return [u1,u2,p.url()]; });
  await step('search combined', async()=>{ await p.goto(A+L+'/search'); await p.waitForSelector('input[type=search]'); await p.type('input[type=search]','anna family rating:3 200'); await wait(1500); await shot('search'); return [p.url(), await p.$eval('.sub',x=>x.textContent), await p.$$eval('.suggestions a',x=>x.map(a=>a.textContent))]; });
  await step('suggest', async()=>{ await p.goto(A+L+'/search'); await p.waitForSelector('input[type=search]'); await p.type('input[type=search]','fa'); await wait(1500); await shot('suggest'); return await p.$$eval('.suggestions a',x=>x.map(a=>a.textContent)); });
  await step('filters', async()=>{ const out=[]; for(const q of ['?stars=4','?rating=4','?label=1','?movies=1&flagged=1','?rejected=1','?rating=5&label=3']){ await p.goto(A+L+'/photos'+q); await wait(1300); out.push(q+' '+await p.$eval('.sub',x=>x.textContent)+' '+await p.$eval('.filter-line',x=>x.textContent)); } await shot('filtered'); return out; });
  await step('on this day', async()=>{ await p.goto(A+L+'/list/onthisday:12-03'); await untilTiles(p); await shot('today'); return p.$eval('h1',x=>x.textContent); });
  await step('album folder', async()=>{ await p.goto(A+L+'/albums'); await p.waitForSelector('.card.folder'); await p.click('.card.folder'); await wait(1200); await shot('folder'); const u=p.url(); await p.goBack(); await wait(500); return [u,p.url()]; });
  await step('photo not in list', async()=>{ await p.goto(A+L+'/list/flagged/photo/999999'); await wait(1500); await shot('notinlist'); return [p.url(), (await p.evaluate(()=>document.body.innerText)).slice(0,120)]; });
  await step('no such list', async()=>{ await p.goto(A+L+'/list/album:99999'); await wait(1500); await shot('nolist'); return (await p.evaluate(()=>document.body.innerText)).slice(-150); });
  await step('no such lib', async()=>{ await p.goto(A+'/l/abcdefgh/photos'); await wait(1500); await shot('nolib'); return (await p.evaluate(()=>document.body.innerText)).slice(-150); });
  await step('away', async()=>{ await p.goto(A+L+'/albums'); await p.waitForSelector('.card'); renameSync('/tmp/web2/disk/Familie','/tmp/web2/Fort'); try { await until(p,()=>/away|nicht da|weg|getrennt/i.test(document.querySelector('.banner')?.textContent??'')); await wait(2500); await shot('away-albums'); await p.click('.bar a[href$="/events"]'); await wait(1500); await shot('away-events'); } finally { renameSync('/tmp/web2/Fort','/tmp/web2/disk/Familie'); } await p.waitForSelector('.card'); await until(p,()=>!document.querySelector('.banner')); await wait(800); await shot('back-events'); });
  log('faults',JSON.stringify(p.faults)); await p.browserContext().close();
}
if(process.argv[2]!=='desk') await run('phone',phone,'en-US',true);
if(process.argv[2]!=='phone') await run('desk',desktop,'de-DE',false);
await b.close();
